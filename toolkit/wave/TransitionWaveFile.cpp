// SPDX-License-Identifier: BSD-3-Clause

#include "wave/TransitionWaveFile.h"

#include "formats/wdb/FileBytes.h"
#include "formats/wdb/TransitionHeader.h"
#include "text/Failure.h"
#include "wave/DamageText.h"
#include "wave/TransitionValues.h"

#include "QsimException.h"

#include <fmt/format.h>

#include <string>

namespace tracewell {

namespace {

constexpr long long kBlocksInMemory = 256 << 20;

std::string readDebugData(FileBytes& file, const TransitionHeader& header)
{
    constexpr long long kHeaderSize = sizeof header;
    if (header.debugData < kHeaderSize || header.debugData > file.size()) {
        return {};
    }
    std::string text(static_cast<std::size_t>(file.size() - header.debugData), '\0');
    file.read(header.debugData, text.data(), text.size());
    return text;
}

} // namespace

TransitionWaveFile::TransitionWaveFile(const std::string& path) : WaveFile(path, Places::Objects)
{
    FileBytes file(path);
    TransitionHeader header{};
    file.readRecord(0, header);
    // Whoever goes through many histories side by side comes back to each block several times.
    Tracewell::DataBaseLimits limits;
    limits.blockBytes = kBlocksInMemory;
    try {
        m_database = std::make_unique<Tracewell::DataBase>(Tracewell::DataBaseMode::Viewer, nullptr,
                                                           "", path, 0, 0, limits);
    } catch (const Qsim::OpenException& e) {
        throw Failure(fmt::format("{}: {} {}", path, e.getMessage(),
                                  header.isUnfinished()
                                      ? "Let the writer come to its end, or record it again."
                                      : "See what is damaged with `tracewell verify`."));
    }
    m_end.emplace(m_database->getDamageLog());
    m_lacksNames = header.debugData < static_cast<std::int64_t>(sizeof header) ||
                   header.debugData > file.size();
    read(readDebugData(file, header));
}

std::vector<std::string> TransitionWaveFile::shortfalls() const
{
    std::vector<Tracewell::WdbDamage> places = m_database->getDamageLog().getPlaces();
    if (!places.empty()) {
        return {describeDamage(places, 0, timeText(), end())};
    }
    if (!m_lacksNames) {
        return {};
    }
    return {"damaged: the names lie outside the file; tracewell verify tells more"};
}

std::unique_ptr<SignalValues> TransitionWaveFile::values(std::vector<Signal> signals)
{
    return std::make_unique<TransitionValues>(*m_database, std::move(signals));
}

} // namespace tracewell
