// SPDX-License-Identifier: BSD-3-Clause

#include "files/ProgressBar.h"

#include "files/ProcessGuest.h"
#include "files/Terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace tracewell {

namespace {

constexpr std::chrono::milliseconds kFirstDraw{500};
constexpr std::chrono::milliseconds kDrawInterval{100};
constexpr int kBarColumns = 40;

} // namespace

ProgressBar::ProgressBar(std::string label)
    : m_label(std::move(label)), m_terminal(!isGuest() && isTerminal(StandardStream::Error)),
      m_nextDraw(std::chrono::steady_clock::now() + kFirstDraw)
{}

ProgressBar::~ProgressBar()
{
    if (m_drawn) {
        std::fputs("\r\x1b[K", stderr);
        std::fflush(stderr);
    }
}

void ProgressBar::update(double fraction)
{
    if (!m_terminal) {
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now < m_nextDraw) {
        return;
    }
    m_nextDraw = now + kDrawInterval;
    m_drawn = true;

    // Written so that a value which is no number counts as 0.
    const double done = fraction > 0 ? std::min(fraction, 1.0) : 0.0;
    std::string bar;
    for (int i = 0; i < kBarColumns; ++i) {
        bar += i < static_cast<int>(done * kBarColumns) ? "█" : "░";
    }
    const std::string line = fmt::format("\r{} {} {:3.0f} %", m_label, bar, done * 100);
    std::fputs(line.c_str(), stderr);
    std::fflush(stderr);
}

} // namespace tracewell
