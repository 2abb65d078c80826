// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <vector>

namespace tracewell {

/// Where in a wave database something is; -1 for what does not apply.
struct Place
{
    std::string section;
    long long bucket = -1;
    /// Number of the object, in a transition database; -1 elsewhere.
    long long object = -1;
    /// Offsets in the file; -1 where there is none.
    long long node = -1;
    long long block = -1;
    long long blockSize = -1;
    /// Number of the event record in its block, from 0 on, and its byte in the inflated block.
    long long record = -1;
    long long byte = -1;

    std::string text() const;
};

struct Finding
{
    enum class Severity {
        Notice, ///< worth knowing, nothing is lost
        Damage
    };

    Severity severity = Severity::Damage;
    Place place;
    std::string what;
    /// What cannot be read because of it.
    std::string lost;
};

/// What a survey found. Keeps the first thousand and counts the rest.
class Findings
{
public:
    /// The finding, for what becomes known later; null when it was only counted.
    Finding* addDamage(const Place& place, std::string what, std::string lost);
    void addNotice(const Place& place, std::string what);

    const std::vector<Finding>& all() const { return m_findings; }
    unsigned long long damages() const { return m_damages; }
    unsigned long long notices() const { return m_notices; }

private:
    static constexpr std::size_t kMostKept = 1000;

    Finding* add(Finding finding);

    std::vector<Finding> m_findings;
    unsigned long long m_damages = 0;
    unsigned long long m_notices = 0;
};

} // namespace tracewell
