#include "wave/TransitionWaveFile.h"

#include "CommandError.h"
#include "survey/FileBytes.h"
#include "wave/TransitionValues.h"

#include "QsimException.h"

#include <fmt/format.h>

#include <string>

namespace tracewell {

namespace {

/// The word of the header that says where the debug data lies.
constexpr long long kDebugDataWord = 7 * 8;
constexpr long long kHeaderSize = 144;

std::string readDebugData(const std::string& path)
{
    FileBytes file(path);
    long long offset = 0;
    if (!file.readRecord(kDebugDataWord, offset) || offset < kHeaderSize || offset > file.size()) {
        return {};
    }
    std::string text(static_cast<std::size_t>(file.size() - offset), '\0');
    file.read(offset, text.data(), text.size());
    return text;
}

} // namespace

TransitionWaveFile::TransitionWaveFile(const std::string& path) : WaveFile(path, Places::Objects)
{
    try {
        m_database = std::make_unique<Tracewell::DataBase>(Tracewell::DataBaseMode::Viewer, nullptr,
                                                           "", path, 0, 0);
    } catch (const Qsim::OpenException& e) {
        throw CommandError(
            fmt::format("{}: {} Try `tracewell verify` on it.", path, e.getMessage()));
    }
    read(readDebugData(path));
}

std::unique_ptr<SignalValues> TransitionWaveFile::values(std::vector<Signal> signals)
{
    return std::make_unique<TransitionValues>(*m_database, std::move(signals));
}

} // namespace tracewell
