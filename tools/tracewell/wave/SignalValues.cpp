#include "wave/SignalValues.h"

#include "CommandError.h"
#include "text/ProgressBar.h"

#include "IGuiStatus.h"
#include "WdbAddressBTreeManager.h"
#include "WdbLiveReader.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>
#include <utility>

namespace tracewell {

namespace {

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
bool mayHaveOverride(WaveFile& file, const Signal& signal)
{
    return signal.overrideAddress >= 0 && signal.form != Signal::Form::Bytes &&
           !file.database()
                .getEventBlockDatabaseIterator(std::vector<long long>{signal.overrideAddress})
                .empty();
}

} // namespace

SignalValues::SignalValues(WaveFile& file, std::vector<Signal> signals)
    : m_reader(file.reader()), m_signals(std::move(signals)), m_trees(m_signals.size())
{
    std::error_code error;
    const std::uintmax_t fileSize = std::filesystem::file_size(file.path(), error);
    requireSensibleSize(file.path(), error ? 0 : fileSize);
    Tracewell::WdbAddressBTreeManager& manager = m_reader.getBTreeManager();
    std::vector<Tracewell::WdbScalarBTree*> toScan;
    for (std::size_t i = 0; i < m_signals.size(); ++i) {
        const Signal& signal = m_signals[i];
        manager.getOrCreateByteBTrees(signal.address, signal.size, m_trees[i], toScan);
        if (mayHaveOverride(file, signal)) {
            manager.getOrCreateByteBTrees(signal.overrideAddress, sizeof(TextReference), m_trees[i],
                                          toScan);
        }
    }
    ScanProgress progress;
    manager.scanWdbDatabaseMultiThread(toScan, &progress);
}

SignalValues::SignalValues(Tracewell::WdbLiveReader& reader, const SignalNames& names,
                           std::vector<Signal> signals)
    : m_reader(reader), m_signals(std::move(signals)), m_trees(m_signals.size())
{
    requireSensibleSize(names.path(), 0);
    for (std::size_t i = 0; i < m_signals.size(); ++i) {
        reader.openByteTrees(m_signals[i].address, m_signals[i].size, m_trees[i]);
    }
}

SignalCursor SignalValues::cursor(std::size_t signal, const TimeWindow& window) const
{
    return SignalCursor(m_signals[signal], m_trees[signal], window, m_reader.getLatestTime());
}

void SignalValues::requireSensibleSize(const std::string& path, unsigned long long fileSize) const
{
    unsigned long long left = kTreesAlwaysAllowed + fileSize * kTreesForEachFileByte;
    for (const Signal& signal : m_signals) {
        const auto size = static_cast<unsigned long long>(signal.size);
        if (size > left) {
            throw CommandError(fmt::format("{}: {} takes {} bytes, more than a file of this size "
                                           "can tell; ask for fewer signals, or try `tracewell "
                                           "verify` on it",
                                           path, signal.label, signal.size));
        }
        left -= size;
    }
}

} // namespace tracewell
