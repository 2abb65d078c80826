// SPDX-License-Identifier: BSD-3-Clause

#include "survey/Findings.h"

#include "text/Counted.h"

#include <fmt/format.h>

#include <utility>

namespace tracewell {

std::string Place::text() const
{
    std::string text;
    const auto add = [&](const std::string& part) { text += text.empty() ? part : ", " + part; };
    if (!section.empty()) {
        add(section);
    }
    if (bucket >= 0) {
        add(fmt::format("bucket {}", bucket));
    }
    if (object >= 0) {
        add(fmt::format("object {}", object));
    }
    if (node >= 0) {
        add(fmt::format("node at {}", node));
    }
    if (block >= 0) {
        add(blockSize >= 0
                ? fmt::format("block at {} ({})", block,
                              counted(static_cast<unsigned long long>(blockSize), "byte"))
                : fmt::format("block at {}", block));
    }
    if (record >= 0) {
        add(fmt::format("record {}", record));
    }
    if (byte >= 0) {
        add(fmt::format("byte {}", byte));
    }
    return text;
}

Finding* Findings::addDamage(const Place& place, std::string what, std::string lost)
{
    ++m_damages;
    return add({Finding::Severity::Damage, place, std::move(what), std::move(lost)});
}

void Findings::addNotice(const Place& place, std::string what)
{
    ++m_notices;
    add({Finding::Severity::Notice, place, std::move(what), {}});
}

Finding* Findings::add(Finding finding)
{
    if (m_findings.size() >= kMostKept) {
        return nullptr;
    }
    m_findings.reserve(kMostKept);
    m_findings.push_back(std::move(finding));
    return &m_findings.back();
}

} // namespace tracewell
