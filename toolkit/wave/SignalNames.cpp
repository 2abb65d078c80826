// SPDX-License-Identifier: BSD-3-Clause

#include "wave/SignalNames.h"

#include "formats/vcd/DeclarationText.h"
#include "formats/wdb/NameSection.h"
#include "text/Failure.h"

#include <fmt/format.h>

namespace tracewell {

void SignalNames::requireNames() const
{
    if (!hasNames()) {
        throw Failure(fmt::format("{}: {}, so there is nothing to tell its values by; "
                                  "recordings made by `tracewell import` have one",
                                  m_path, m_whyNoNames));
    }
}

void SignalNames::read(std::string_view text)
{
    m_declarations = {};
    m_layout.reset();
    m_transitionLayout.reset();
    m_timeText = TimeText();
    if (text.empty()) {
        m_whyNoNames = "it holds no name table";
        return;
    }
    if (!isNameTable(text)) {
        m_whyNoNames = "its name table is in a form of another program";
        return;
    }
    try {
        m_declarations = parseDeclarations(text);
    } catch (const Failure& e) {
        m_whyNoNames = fmt::format("its name table is damaged ({})", e.what());
        return;
    }
    placeValues();
}

void SignalNames::take(const Declarations& declarations)
{
    m_declarations = declarations;
    placeValues();
}

void SignalNames::placeValues()
{
    if (m_places == Places::Objects) {
        m_transitionLayout = std::make_unique<TransitionLayout>(m_declarations);
        if (m_transitionLayout->totalCount() > kMostTransitionObjects) {
            m_declarations = {};
            m_whyNoNames = "its name table asks for more objects than such a file can have";
            return;
        }
    }
    m_layout = std::make_unique<DataLayout>(m_declarations);
    m_timeText = TimeText(m_declarations.timescale);
}

} // namespace tracewell
