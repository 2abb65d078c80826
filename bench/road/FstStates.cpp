// SPDX-License-Identifier: BSD-3-Clause

#include "StateQuestions.h"

#include <fstapi.h>

#include <stdexcept>

namespace tracewell::bench {

namespace {

class Fst
{
public:
    explicit Fst(const std::string& path) : m_context(fstReaderOpen(path.c_str()))
    {
        if (!m_context) {
            throw std::runtime_error("cannot open " + path);
        }
    }
    Fst(const Fst&) = delete;
    Fst& operator=(const Fst&) = delete;
    ~Fst() { fstReaderClose(m_context); }

    /// From the signal's whole history.
    std::uint32_t askWhole(const Workload& workload, std::uint32_t signal, long long time)
    {
        m_width = workload.isVector(signal) ? 32 : 1;
        m_time = static_cast<std::uint64_t>(time);
        m_state = 0;
        fstReaderClrFacProcessMaskAll(m_context);
        fstReaderSetFacProcessMask(m_context, signal + 1);
        fstReaderIterBlocks(m_context, takeChange, this, nullptr);
        return m_state;
    }

    std::uint32_t askAtTime(const Workload& workload, std::uint32_t signal, long long time)
    {
        m_width = workload.isVector(signal) ? 32 : 1;
        char text[64] = {};
        const char* const value = fstReaderGetValueFromHandleAtTime(
            m_context, static_cast<std::uint64_t>(time), signal + 1, text);
        return value ? parse(reinterpret_cast<const unsigned char*>(value)) : 0;
    }

private:
    std::uint32_t parse(const unsigned char* digits) const
    {
        std::uint32_t value = 0;
        for (unsigned int i = 0; i < m_width; ++i) {
            value = value << 1 | (digits[i] == '1' ? 1u : 0u);
        }
        return value;
    }

    static void takeChange(void* data, std::uint64_t time, fstHandle, const unsigned char* value)
    {
        auto& self = *static_cast<Fst*>(data);
        if (time <= self.m_time) {
            self.m_state = self.parse(value);
        }
    }

    void* m_context;
    unsigned int m_width = 1;
    std::uint64_t m_time = 0;
    std::uint32_t m_state = 0;
};

template <class Ask>
StateResult askBoth(const Workload& workload, long long end, const std::string& path,
                    std::size_t questions, const Ask& ask)
{
    StateResult result;
    askCold(workload, end, result, [&](std::uint32_t signal, long long time) {
        Fst fst(path);
        return ask(fst, signal, time);
    });
    Fst fst(path);
    askWarm(end, workload.pick(20), questions, result,
            [&](std::uint32_t signal, long long time) { return ask(fst, signal, time); });
    return result;
}

} // namespace

StateResult askFst(const Workload& workload, long long end, const std::string& path)
{
    return askBoth(workload, end, path, 20, [&](Fst& fst, std::uint32_t signal, long long time) {
        return fst.askWhole(workload, signal, time);
    });
}

StateResult askFstAtTime(const Workload& workload, long long end, const std::string& path)
{
    return askBoth(workload, end, path, 100, [&](Fst& fst, std::uint32_t signal, long long time) {
        return fst.askAtTime(workload, signal, time);
    });
}

} // namespace tracewell::bench
