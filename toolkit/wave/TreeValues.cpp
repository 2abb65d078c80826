// SPDX-License-Identifier: BSD-3-Clause

#include "wave/TreeValues.h"

#include "files/ProgressBar.h"
#include "text/Failure.h"
#include "wave/EventWaveFile.h"
#include "wave/TreeCursor.h"

#include "IGuiStatus.h"
#include "WdbAddressBTreeManager.h"
#include "WdbLiveReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <system_error>
#include <utility>

namespace tracewell {

namespace {

using Tracewell::WdbScalarBTree;

/// A tree for each byte takes memory before anything is known of it. The bytes of a sound recording
/// have left a trace in the file: an entry, a list node and a block each bucket at the least.
constexpr unsigned long long kTreesForEachFileByte = 64;
constexpr unsigned long long kTreesAlwaysAllowed = 1u << 17;

class ScanProgress : public QSIM::IGuiStatus
{
public:
    void setProgress(double percent) override
    {
        m_percent = percent;
        m_bar.update(percent / 100);
    }
    double getProgress() override { return m_percent; }

private:
    double m_percent = 0;
    ProgressBar m_bar{"reading"};
};

/// Overrides are rare and lie in buckets of their own. Eight trees are only worth making where
/// something was recorded.
bool mayHaveOverride(EventWaveFile& file, const Signal& signal)
{
    return signal.overrideAddress >= 0 && !signal.valueKind->isRaw() &&
           !file.database()
                .getEventBlockDatabaseIterator(std::vector<long long>{signal.overrideAddress})
                .empty();
}

/// The nearest change of one tree on that side of `time`. Asked for several trees at once, a reader
/// may answer with a time that lies on the wrong side; asked for one, that means there is none.
std::optional<long long> nearestChange(const Tracewell::WdbIEventReader& reader,
                                       WdbScalarBTree* tree, long long time, bool next)
{
    if (tree->isEmpty()) {
        return std::nullopt;
    }
    std::vector<WdbScalarBTree*> trees{tree};
    const long long found =
        next ? reader.getNextEvent(time, trees) : reader.getPreviousEvent(time, trees);
    const bool rightSide = next ? found > time : found < time;
    return rightSide ? std::optional<long long>(found) : std::nullopt;
}

} // namespace

TreeValues::TreeValues(EventWaveFile& file, std::vector<Signal> chosen)
    : SignalValues(std::move(chosen)), m_reader(file.reader()), m_trees(signals().size())
{
    std::error_code error;
    const std::uintmax_t fileSize = std::filesystem::file_size(file.path(), error);
    requireSensibleSize(file.path(), error ? 0 : fileSize);
    Tracewell::WdbAddressBTreeManager& manager = m_reader.getBTreeManager();
    std::vector<WdbScalarBTree*> toScan;
    for (std::size_t i = 0; i < signals().size(); ++i) {
        const Signal& signal = signals()[i];
        manager.getOrCreateByteBTrees(signal.address, signal.size, m_trees[i], toScan);
        if (mayHaveOverride(file, signal)) {
            manager.getOrCreateByteBTrees(signal.overrideAddress, sizeof(TextReference), m_trees[i],
                                          toScan);
        }
    }
    ScanProgress progress;
    manager.scanWdbDatabaseMultiThread(toScan, &progress);
    std::vector<long long> addresses;
    addresses.reserve(toScan.size());
    for (const WdbScalarBTree* const tree : toScan) {
        addresses.push_back(tree->getAddress());
    }
    file.checkBuckets(addresses);
    m_end = file.end();
}

TreeValues::TreeValues(Tracewell::WdbLiveReader& reader, const std::string& path,
                       std::vector<Signal> chosen)
    : SignalValues(std::move(chosen)), m_reader(reader),
      m_end(std::numeric_limits<long long>::max()), m_trees(signals().size())
{
    requireSensibleSize(path, 0);
    for (std::size_t i = 0; i < signals().size(); ++i) {
        reader.openByteTrees(signals()[i].address, signals()[i].size, m_trees[i]);
    }
}

std::unique_ptr<SignalCursor> TreeValues::wholeCursor(std::size_t signal,
                                                      const TimeWindow& window) const
{
    TimeWindow shown = window;
    shown.from = std::min(shown.from, m_end);
    shown.to = std::min(shown.to, m_end);
    return std::make_unique<TreeCursor>(signals()[signal], m_trees[signal], shown,
                                        std::min(m_reader.getLatestTime(), m_end));
}

std::optional<long long> TreeValues::nextWholeChange(std::size_t signal, long long time) const
{
    std::optional<long long> nearest;
    for (WdbScalarBTree* tree : m_trees[signal]) {
        const std::optional<long long> found = nearestChange(m_reader, tree, time, true);
        if (found && (!nearest || *found < *nearest)) {
            nearest = found;
        }
    }
    return nearest && *nearest <= m_end ? nearest : std::nullopt;
}

std::optional<long long> TreeValues::previousWholeChange(std::size_t signal, long long time) const
{
    if (time > m_end) {
        time = m_end + 1;
    }
    std::optional<long long> nearest;
    for (WdbScalarBTree* tree : m_trees[signal]) {
        const std::optional<long long> found = nearestChange(m_reader, tree, time, false);
        if (found && (!nearest || *found > *nearest)) {
            nearest = found;
        }
    }
    return nearest;
}

std::string TreeValues::lookUp(long long id) const
{
    return m_reader.getStringMapValue(id);
}

void TreeValues::requireSensibleSize(const std::string& path, unsigned long long fileSize) const
{
    unsigned long long left = kTreesAlwaysAllowed + fileSize * kTreesForEachFileByte;
    for (const Signal& signal : signals()) {
        const auto size = static_cast<unsigned long long>(signal.size);
        if (size > left) {
            throw Failure(fmt::format("{}: {} takes {} bytes, more than a file of this size "
                                      "can tell; ask for fewer signals, or try `tracewell "
                                      "verify` on it",
                                      path, signal.label, signal.size));
        }
        left -= size;
    }
}

} // namespace tracewell
