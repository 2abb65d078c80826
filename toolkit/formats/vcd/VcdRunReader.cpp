// SPDX-License-Identifier: BSD-3-Clause

#include "formats/vcd/VcdRunReader.h"

#include "formats/vcd/VcdDeclarations.h"

#include <fmt/format.h>

#include <utility>

namespace tracewell {

VcdRunReader::VcdRunReader(std::unique_ptr<ByteSource> source, std::string name, int fractionDigits,
                           bool isLenient, std::function<void()> onRead)
    : m_input(std::move(source), std::move(name))
{
    m_input.setReadHook(std::move(onRead));
    m_declarations = readDeclarations(m_input, &m_isTableCutOff);
    if (fractionDigits > 0) {
        m_declarations.timescale.exponent -= fractionDigits;
        m_declarations.timescale.stated = true;
    }
    m_reader =
        std::make_unique<VcdReader>(m_input, m_declarations.objects, fractionDigits, isLenient);
}

std::string VcdRunReader::shortfall(std::string_view done) const
{
    const std::string flaw = m_input.flaw();
    if (m_input.isShortened()) {
        return fmt::format("{}; everything before was {}", flaw, done);
    }
    std::string line;
    if (m_isTableCutOff || m_reader->isCutOff()) {
        line = fmt::format("line {}: the input is cut off inside {}; everything before was {}",
                           m_input.line(),
                           m_isTableCutOff ? "the declarations" : m_reader->cutPlace(), done);
    }
    if (!flaw.empty()) {
        line = line.empty() ? fmt::format("{}; they were left out", flaw)
                            : fmt::format("{}; {}, and were left out", line, flaw);
    }
    return line;
}

} // namespace tracewell
