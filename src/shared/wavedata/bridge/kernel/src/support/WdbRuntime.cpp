// SPDX-License-Identifier: BSD-3-Clause

#include "WdbRuntime.h"

#include "platform/Process.h"

#include <chrono>
#include <cmath>
#include <iostream>

namespace {

long long readClock()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

WdbRuntime::WdbRuntime(bool startNow)
{
    if (startNow) {
        start();
    }
}

void WdbRuntime::clear()
{
    *this = WdbRuntime(false);
}

void WdbRuntime::start()
{
    if (m_isRunning) {
        return;
    }
    m_isRunning = true;
    m_clockAtStart = readClock();
    m_userAtStart = getRoundedSecs(false);
    m_sysAtStart = getRoundedSecs(true);
}

void WdbRuntime::stop()
{
    if (!m_isRunning) {
        return;
    }
    m_wall += readClock() - m_clockAtStart;
    m_userMeasured = getRoundedSecs(false) - m_userAtStart;
    m_sysMeasured = getRoundedSecs(true) - m_sysAtStart;
    m_isRunning = false;
}

double WdbRuntime::getWindowsCpuTime(bool kernel) const
{
    constexpr long long kMillisecondsOfDay = 24LL * 60 * 60 * 1000;
    return static_cast<double>(Tracewell::getProcessTime(kernel) % kMillisecondsOfDay) / 1000.0;
}

int WdbRuntime::getRoundedSecs(bool kernel) const
{
    return static_cast<int>(std::floor(getWindowsCpuTime(kernel) + 0.5));
}

double WdbRuntime::getUserSecs() const
{
    return m_isRunning ? getRoundedSecs(false) - m_userAtStart : 0.0;
}

double WdbRuntime::getSysSecs() const
{
    return getRoundedSecs(true) - m_sysAtStart;
}

double WdbRuntime::getCpuSecs() const
{
    return getUserSecs() + getSysSecs();
}

double WdbRuntime::getWallSecs() const
{
    return static_cast<double>(m_wall + (m_isRunning ? readClock() - m_clockAtStart : 0)) / 1000.0;
}

void WdbRuntime::report(std::ostream& os) const
{
    os << (m_isRunning ? getUserSecs() : m_userMeasured) << "u "
       << (m_isRunning ? getSysSecs() : m_sysMeasured) << "s " << getWallSecs() << "w";
}

void WdbRuntime::report() const
{
    report(std::cout);
}
