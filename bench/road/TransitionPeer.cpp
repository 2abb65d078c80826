// SPDX-License-Identifier: BSD-3-Clause

// The transition database: a signal is an object, a vector a 32-bit integer.

#include "Viewers.h"
#include "Writers.h"

#include "DataBase.h"
#include "OutputFileNames.h"
#include "WdbWriter.h"

#include <cstring>
#include <filesystem>
#include <fstream>

namespace tracewell::bench {

namespace {

using Tracewell::DataBase;
using Tracewell::DataBaseMode;
using Tracewell::Transition;
using ZSIM::OutputFileNames;

constexpr unsigned int kInteger = 1;
constexpr unsigned int kFourState = 5;
constexpr const char* kDesign = "design";

/// The debug data without which no file is finished; one byte of it.
void makeDebugFile(const std::string& directory)
{
    OutputFileNames::setZSimDirLocation(directory.c_str());
    const std::filesystem::path path =
        OutputFileNames::getDbgPathName(OutputFileNames::getSnapshotName(kDesign));
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << ' ';
}

class TransitionViewer : public Viewer
{
public:
    TransitionViewer(const Workload& workload, const std::string& path, std::uint32_t signalCount)
        : m_dataBase(DataBaseMode::Viewer, nullptr, kDesign, path, 0, 0),
          m_signals(workload.pick(signalCount))
    {}

    std::size_t signalCount() const override { return m_signals.size(); }
    long long latestTime() const override { return m_dataBase.getLatestTime(); }
    std::size_t ask(std::size_t signal, long long from, long long to, long long resolution) override
    {
        m_answers.clear();
        m_dataBase.getTransitions(m_signals[signal] + 1, from, to, resolution, m_answers);
        return m_answers.size();
    }

private:
    DataBase m_dataBase;
    std::vector<std::uint32_t> m_signals;
    std::vector<Transition> m_answers;
};

} // namespace

WriteResult writeTransitions(const Workload& workload, const std::string& path)
{
    makeDebugFile(path + ".dir");
    std::vector<std::uint32_t> memory(workload.signalCount());
    const Stopwatch watch;
    Tracewell::WdbWriter writer;
    writer.open(Tracewell::IWdbWriter::kDefaultMode, kDesign, path, 0);
    const auto trace = writer.getTraceVhdlFunc();
    long long now = 0;
    workload.play(
        [&](long long time) {
            now = time;
            writer.markCurrentTime(time);
        },
        [&](std::uint32_t signal, std::uint32_t value) {
            auto* const place = reinterpret_cast<unsigned char*>(&memory[signal]);
            trace(now, signal + 1, workload.isVector(signal) ? kInteger : kFourState, place,
                  reinterpret_cast<unsigned char*>(&value));
            memory[signal] = value;
        });
    writer.close();
    const WriteResult result(watch);
    std::filesystem::remove_all(path + ".dir");
    return result;
}

std::unique_ptr<Viewer> openTransitionViewer(const Workload& workload, const std::string& path,
                                             std::uint32_t signalCount)
{
    return std::make_unique<TransitionViewer>(workload, path, signalCount);
}

} // namespace tracewell::bench
