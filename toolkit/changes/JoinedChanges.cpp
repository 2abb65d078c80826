// SPDX-License-Identifier: BSD-3-Clause

#include "changes/JoinedChanges.h"

#include "text/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <utility>

namespace tracewell {

namespace {

bool isAlike(const Variable& a, const Variable& b)
{
    return a.name == b.name && a.range.str() == b.range.str() && a.width == b.width &&
           a.object == b.object;
}

} // namespace

JoinedChanges::JoinedChanges(std::vector<Segment> segments) : m_segments(std::move(segments))
{
    requireAlike();
}

/// By the first step of each. One without any comes first, and one of a single time before those
/// that begin there and go on.
void JoinedChanges::putInOrder()
{
    if (m_isInOrder) {
        return;
    }
    m_isInOrder = true;
    for (Segment& segment : m_segments) {
        segment.isAhead = segment.changes->next();
        long long time = 0;
        segment.goesOn = segment.changes->peek(time);
    }
    const auto key = [](const Segment& segment) {
        return std::make_tuple(segment.isAhead, segment.isAhead ? segment.changes->time() : 0,
                               segment.goesOn);
    };
    std::stable_sort(m_segments.begin(), m_segments.end(),
                     [&](const Segment& a, const Segment& b) { return key(a) < key(b); });
}

void JoinedChanges::requireAlike() const
{
    const Declarations& expected = first().declarations();
    for (const Segment& segment : m_segments) {
        const Declarations& names = segment.changes->declarations();
        bool isSame = names.variables.size() == expected.variables.size() &&
                      names.objects.size() == expected.objects.size() &&
                      names.timescale.factor == expected.timescale.factor &&
                      names.timescale.exponent == expected.timescale.exponent;
        for (std::size_t i = 0; isSame && i < names.objects.size(); ++i) {
            isSame = names.objects[i].kind == expected.objects[i].kind &&
                     names.objects[i].width == expected.objects[i].width;
        }
        for (std::size_t i = 0; isSame && i < names.variables.size(); ++i) {
            isSame = isAlike(names.variables[i], expected.variables[i]) &&
                     names.scopePath(names.variables[i].scope) ==
                         expected.scopePath(expected.variables[i].scope);
        }
        if (!isSame) {
            throw Failure(fmt::format("{}: is no segment of the same run as {}: variables or "
                                      "timescale are others; merge them without --segments",
                                      segment.path, m_segments.front().path));
        }
    }
}

void JoinedChanges::select(const ChangeSelection& selection)
{
    for (Segment& segment : m_segments) {
        segment.changes->select(selection);
    }
}

bool JoinedChanges::peek(long long& time)
{
    putInOrder();
    for (std::size_t i = m_at; i < m_segments.size(); ++i) {
        if (m_segments[i].isAhead) {
            time = m_segments[i].changes->time();
            return true;
        }
        if (m_segments[i].changes->peek(time)) {
            return true;
        }
    }
    return false;
}

bool JoinedChanges::advance()
{
    m_changed.clear();
    long long time = 0;
    if (!peek(time)) {
        return false;
    }
    for (long long own = 0; !m_segments[m_at].isAhead && !present().peek(own);) {
        begin(m_at + 1);
    }
    if (m_isAtStart && time < m_time) {
        throw Failure(fmt::format("{}: starts at {}, before the segment in front of it ends at {}; "
                                  "merge them without --segments",
                                  m_segments[m_at].path, time, m_time));
    }
    m_time = time;
    if (!m_segments[m_at].isAhead) {
        present().advance();
    }
    m_segments[m_at].isAhead = false;
    std::string value;
    for (const std::uint32_t object : present().changed()) {
        if (!m_before.empty()) {
            value.clear();
            present().appendValue(value, object);
            const bool isFiring = declarations().objects[object].kind->fires();
            if (!isFiring && value == m_before[object]) {
                continue;
            }
        }
        m_changed.push_back(object);
    }
    m_before.clear();
    m_isAtStart = false;
    return !m_changed.empty();
}

void JoinedChanges::begin(std::size_t segment)
{
    if (m_time >= 0) {
        m_before.resize(declarations().objects.size());
        for (std::uint32_t object = 0; object < m_before.size(); ++object) {
            m_before[object].clear();
            present().appendValue(m_before[object], object);
        }
        m_isAtStart = true;
    }
    m_at = segment;
}

/// What only the segments before have told is known of them alone.
void JoinedChanges::appendValue(std::string& out, std::uint32_t object)
{
    const std::size_t start = out.size();
    for (std::size_t i = m_at + 1; i-- > 0 && out.size() == start;) {
        m_segments[i].changes->appendValue(out, object);
    }
}

long long JoinedChanges::latestTime() const
{
    long long latest = 0;
    for (const Segment& segment : m_segments) {
        latest = std::max(latest, segment.changes->latestTime());
    }
    return latest;
}

double JoinedChanges::progress() const
{
    const double part = m_segments[m_at].changes->progress();
    return (static_cast<double>(m_at) + std::clamp(part, 0.0, 1.0)) /
           static_cast<double>(m_segments.size());
}

std::vector<std::string> JoinedChanges::shortfalls() const
{
    std::vector<std::string> all;
    for (const Segment& segment : m_segments) {
        for (const std::string& line : segment.changes->shortfalls()) {
            all.push_back(fmt::format("{}: {}", segment.path, line));
        }
    }
    return all;
}

std::vector<std::string> JoinedChanges::notices() const
{
    std::vector<std::string> all;
    for (const Segment& segment : m_segments) {
        for (const std::string& line : segment.changes->notices()) {
            all.push_back(fmt::format("{}: {}", segment.path, line));
        }
    }
    return all;
}

} // namespace tracewell
