#pragma once

#include <atomic>
#include <random>
#include <string>
#include <vector>

namespace Tracewell {

/// What a recorder process has done so far, in memory that its killer sees too.
struct RunProgress
{
    std::atomic<long long> tracedEvents;
    /// What stood before the last flush that has returned.
    std::atomic<long long> savedEvents;
    std::atomic<long long> savedTexts;
};

/// The endless run of a recorder process, told again by the same seed. Event n has time n, so no
/// two events are repeats of one another.
class RecordedRun
{
public:
    static constexpr unsigned int kDivision = 400;
    static constexpr long long kAddressSize = 1000;

    struct Step
    {
        long long time = 0;
        long long address = 0;
        std::vector<unsigned char> value;
        /// A text to be added before the event, or empty.
        std::string text;
        /// A flush follows.
        bool flush = false;
    };

    /// Without `withFlushes` no step asks for one.
    RecordedRun(unsigned int seed, bool withFlushes) : m_random(seed), m_withFlushes(withFlushes) {}

    Step next()
    {
        Step step;
        step.time = m_time++;
        step.address = draw(kAddressSize - 40);
        step.value.resize(1 + draw(40));
        for (unsigned char& byte : step.value)
            byte = static_cast<unsigned char>(draw(256));
        if (draw(20) == 0)
            step.text = std::string(1 + draw(200), static_cast<char>('a' + draw(26)));
        step.flush = draw(3000) == 0 && m_withFlushes;
        return step;
    }

private:
    // No distribution: the two programs must agree.
    unsigned int draw(unsigned int bound) { return static_cast<unsigned int>(m_random() % bound); }

    std::mt19937 m_random;
    bool m_withFlushes;
    long long m_time = 1;
};

} // namespace Tracewell
