// SPDX-License-Identifier: BSD-3-Clause

#include "export/VcdOutput.h"

#include "formats/vcd/DeclarationText.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace tracewell {

VcdOutput::VcdOutput(const std::string& output, const std::string& input,
                     const Declarations& declarations)
    : m_out(output, input)
{
    m_out.text() = writeDeclarations(declarations);
}

void VcdOutput::write(ChangeStream& changes)
{
    const bool isStart = changes.time() == 0 && m_written < 0;
    m_written = changes.time();
    fmt::format_to(std::back_inserter(m_out.text()), "#{}\n{}", m_written,
                   isStart ? "$dumpvars\n" : "");
    for (const std::uint32_t object : changes.changed()) {
        changes.appendChange(m_out.text(), object);
    }
    m_out.text().append(isStart ? "$end\n" : "");
    m_out.flushWhenLarge();
}

std::string VcdOutput::finish(long long end, bool isWhole)
{
    if (end > std::max(m_written, 0LL)) {
        fmt::format_to(std::back_inserter(m_out.text()), "#{}\n", end);
    }
    return m_out.finish(isWhole);
}

} // namespace tracewell
