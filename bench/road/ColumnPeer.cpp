// SPDX-License-Identifier: BSD-3-Clause

#include "StateQuestions.h"
#include "Viewers.h"
#include "Writers.h"

#include "WdbColumnReader.h"
#include "WdbColumnWriter.h"

#include <cstring>
#include <limits>

namespace tracewell::bench {

namespace {

using Tracewell::WdbColumnReader;

class ColumnViewer : public Viewer
{
public:
    ColumnViewer(const Workload& workload, const std::string& path, std::uint32_t signalCount)
    {
        m_reader.open(path);
        for (const std::uint32_t signal : workload.pick(signalCount)) {
            m_fields.push_back(m_reader.findFields(workload.addressOf(signal), 1).front());
        }
    }

    std::size_t signalCount() const override { return m_fields.size(); }
    long long latestTime() const override { return m_reader.getLatestTime(); }
    std::size_t ask(std::size_t signal, long long from, long long to, long long resolution) override
    {
        m_answers.clear();
        const auto history = m_reader.getHistory(m_fields[signal], from, to, resolution);
        while (history->next()) {
            m_answers.emplace_back(history->getTime(),
                                   history->isDense() ? 0 : history->getValue());
        }
        return m_answers.size();
    }

private:
    WdbColumnReader m_reader;
    std::vector<unsigned int> m_fields;
    std::vector<std::pair<long long, unsigned long long>> m_answers;
};

std::uint32_t stateOf(const WdbColumnReader& reader, const Workload& workload, std::uint32_t signal,
                      long long time)
{
    const auto field = reader.findFields(workload.addressOf(signal), 1).front();
    const auto history = reader.getHistory(field, time, time, 0);
    return history->next() ? static_cast<std::uint32_t>(history->getValue()) : 0;
}

} // namespace

WriteResult writeColumns(const Workload& workload, const std::string& path)
{
    std::vector<unsigned char> memory(static_cast<std::size_t>(workload.addressSize()));
    std::vector<long long> addresses(workload.signalCount());
    std::vector<Tracewell::WdbColumnField> fields;
    for (std::uint32_t signal = 0; signal < workload.signalCount(); ++signal) {
        addresses[signal] = workload.addressOf(signal);
        fields.push_back(
            {addresses[signal], static_cast<unsigned int>(workload.sizeOf(signal)), false});
    }

    const Stopwatch watch;
    Tracewell::WdbColumnWriter writer;
    writer.setFields(fields);
    writer.setBaseDPOffset(reinterpret_cast<long long>(memory.data()));
    writer.open(Tracewell::IWdbWriter::kDefaultMode, "", path, 0);
    const auto traceBytes = writer.getTraceVhdlFunc();
    const auto traceVector = writer.getTraceVlogFunc();
    long long now = 0;
    workload.play(
        [&](long long time) {
            now = time;
            writer.markCurrentTime(time);
        },
        [&](std::uint32_t signal, std::uint32_t value) {
            unsigned char* place = memory.data() + addresses[signal];
            if (workload.isVector(signal)) {
                std::uint32_t group[2] = {value, 0};
                traceVector(now, signal, 5, place, reinterpret_cast<unsigned char*>(group), 0, 32);
                std::memcpy(place, group, sizeof group);
            } else {
                unsigned char letter = static_cast<unsigned char>(value);
                traceBytes(now, signal, 1, place, &letter);
                *place = letter;
            }
        });
    writer.close();
    return WriteResult(watch);
}

std::unique_ptr<Viewer> openColumnViewer(const Workload& workload, const std::string& path,
                                         std::uint32_t signalCount)
{
    return std::make_unique<ColumnViewer>(workload, path, signalCount);
}

StateResult askColumns(const Workload& workload, long long end, const std::string& path)
{
    constexpr std::size_t kWarmQuestions = 2000;
    StateResult result;
    askCold(workload, end, result, [&](std::uint32_t signal, long long time) {
        WdbColumnReader reader;
        reader.open(path);
        return stateOf(reader, workload, signal, time);
    });
    WdbColumnReader reader;
    reader.open(path);
    askWarm(end, workload.pick(workload.signalCount()), kWarmQuestions, result,
            [&](std::uint32_t signal, long long time) {
                return stateOf(reader, workload, signal, time);
            });
    return result;
}

ReplayResult replayColumns(const std::string& path)
{
    ReplayResult result;
    WdbColumnReader reader;
    reader.open(path);
    const Stopwatch watch;
    const auto replay = reader.getReplay();
    while (replay->next()) {
        result.byteChanges += static_cast<double>(replay->getChanges().size());
    }
    result.wallMs = watch.wall() / 1e6;
    result.threadMs = watch.thread() / 1e6;
    return result;
}

} // namespace tracewell::bench
