// SPDX-License-Identifier: BSD-3-Clause

#include "formats/ghw/GhwRunReader.h"

#include "text/Failure.h"
#include "values/Letters.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace tracewell {

namespace {

/// The codes of our letters for the nine literals of std_ulogic: U X 0 1 Z W L H -.
constexpr std::uint8_t kLogicCodes[] = {4, 3, 0, 1, 2, 5, 6, 7, 8};

std::uint8_t logicCode(std::int64_t value)
{
    constexpr std::uint8_t kUnknown = 3;
    return value >= 0 && value < static_cast<std::int64_t>(std::size(kLogicCodes))
               ? kLogicCodes[value]
               : kUnknown;
}

} // namespace

GhwRunReader::GhwRunReader(std::unique_ptr<ByteSource> source, std::string name,
                           std::function<void()> onRead)
    : m_input(std::move(source), std::move(name), std::move(onRead)), m_types(m_input)
{
    try {
        readHeader();
        readDesign();
    } catch (const GhwInput::CutOff&) {
        m_input.fail("the file ends before its signals are declared; dump it again");
    }
    if (m_signals.declarations.variables.empty()) {
        throw Failure(
            fmt::format("{}: no signal is declared; dump the file again", m_input.name()));
    }
    findUsers();
}

void GhwRunReader::readHeader()
{
    unsigned char head[16];
    m_input.bytes(head, sizeof head);
    constexpr unsigned char kLatestVersion = 1;
    constexpr unsigned char kLittle = 1;
    constexpr unsigned char kBig = 2;
    if (std::memcmp(head, "GHDLwave\n", 9) != 0 || head[9] != sizeof head || head[10] != 0) {
        m_input.fail("the header is damaged; dump the file again");
    }
    if (head[11] > kLatestVersion) {
        m_input.fail(fmt::format("version {} of the format is not known; dump the run by --vcd",
                                 static_cast<unsigned int>(head[11])));
    }
    if (head[12] != kLittle && head[12] != kBig) {
        m_input.fail("the header is damaged; dump the file again");
    }
    m_input.setBigEndian(head[12] == kBig);
}

void GhwRunReader::readDesign()
{
    for (;;) {
        const std::string tag = m_input.tag();
        if (tag == "STR") {
            m_types.readStrings();
        } else if (tag == "TYP") {
            m_types.readTypes();
        } else if (tag == "WKT") {
            m_types.readWellKnown();
        } else if (tag == "HIE") {
            m_signals = GhwHierarchy(m_input, m_types).read();
        } else if (tag == "EOH") {
            return;
        } else {
            m_input.fail("a section of no kind that is known; the file is damaged, dump it again");
        }
    }
}

void GhwRunReader::findUsers()
{
    const std::size_t scalars = m_signals.types.size();
    m_values.resize(scalars);
    m_userStarts.resize(scalars + 1);
    for (const GhwSignals::Object& object : m_signals.objects) {
        for (std::uint32_t i = 0; i < object.count; ++i) {
            ++m_userStarts[m_signals.scalars[object.first + i] + 1];
        }
    }
    for (std::size_t i = 1; i < m_userStarts.size(); ++i) {
        m_userStarts[i] += m_userStarts[i - 1];
    }
    m_users.resize(m_signals.scalars.size());
    std::vector<std::uint32_t> next(m_userStarts.begin(), m_userStarts.end() - 1);
    for (std::uint32_t number = 0; number < m_signals.objects.size(); ++number) {
        const GhwSignals::Object& object = m_signals.objects[number];
        for (std::uint32_t i = 0; i < object.count; ++i) {
            m_users[next[m_signals.scalars[object.first + i]]++] = number;
        }
    }
    for (std::uint32_t scalar = 0; scalar < scalars; ++scalar) {
        if (m_signals.types[scalar] != nullptr) {
            m_order.push_back(scalar);
        }
    }
    m_isTouched.resize(m_signals.objects.size());
}

bool GhwRunReader::next(RunChange& change)
{
    for (;;) {
        if (!m_hasToldTime) {
            m_hasToldTime = true;
            change.kind = RunChange::Kind::Time;
            change.time = m_time;
            return true;
        }
        if (m_given < m_touched.size()) {
            const std::uint32_t object = m_touched[m_given++];
            m_isTouched[object] = 0;
            if (giveValue(object, change)) {
                return true;
            }
            continue;
        }
        m_touched.clear();
        m_given = 0;
        if (m_hasEnded) {
            return false;
        }
        try {
            m_hasEnded = !readStep();
        } catch (const GhwInput::CutOff&) {
            // Of a step that is not whole nothing is told.
            for (const std::uint32_t object : m_touched) {
                m_isTouched[object] = 0;
            }
            m_touched.clear();
            m_hasToldTime = true;
            m_isCutOff = m_hasEnded = true;
        }
    }
}

bool GhwRunReader::readStep()
{
    const long long before = m_time;
    if (m_part == Part::NextCycle) {
        const std::int64_t step = m_input.sleb();
        if (step >= 0) {
            if (__builtin_add_overflow(m_time, step, &m_time)) {
                m_input.fail("a time beyond all times; the file is damaged, dump it again");
            }
            readChanges();
            m_hasToldTime = false;
            return true;
        }
        if (m_input.tag() != "ECY") {
            m_input.fail(
                "changes do not end where they should; the file is damaged, dump it again");
        }
        m_part = Part::Sections;
    }
    if (!m_input.hasMore()) {
        // Of a file that was closed a directory and a tail are the end.
        throw GhwInput::CutOff();
    }
    const std::string tag = m_input.tag();
    if (tag == "SNP" || tag == "CYC") {
        if (tag == "SNP") {
            m_input.number32();
        }
        m_time = m_input.number64();
        if (m_time < before) {
            m_input.fail("times go back; the file is damaged, dump it again");
        }
        if (tag == "SNP") {
            readSnapshot();
        } else {
            readChanges();
            m_part = Part::NextCycle;
        }
        m_hasToldTime = false;
        return true;
    }
    if (tag != "DIR" && tag != "TAI") {
        m_input.fail("a section of no kind that is known; the file is damaged, dump it again");
    }
    m_part = Part::End;
    return false;
}

void GhwRunReader::take(std::uint32_t scalar)
{
    m_values[scalar] = m_types.readValue(*m_signals.types[scalar]);
    for (std::uint32_t i = m_userStarts[scalar]; i < m_userStarts[scalar + 1]; ++i) {
        const std::uint32_t object = m_users[i];
        if (m_isTouched[object] == 0) {
            m_isTouched[object] = 1;
            m_touched.push_back(object);
        }
    }
}

void GhwRunReader::readSnapshot()
{
    for (const std::uint32_t scalar : m_order) {
        take(scalar);
    }
    if (m_input.tag() != "ESN") {
        m_input.fail("values do not end where they should; the file is damaged, dump it again");
    }
}

/// Each change tells how many scalars it is behind the one before.
void GhwRunReader::readChanges()
{
    std::uint64_t at = 0;
    for (std::uint64_t step = m_input.uleb(); step != 0; step = m_input.uleb()) {
        if (step > m_order.size() - at) {
            m_input.fail("a change of a signal that there is not; the file is damaged, dump it "
                         "again");
        }
        at += step;
        take(m_order[static_cast<std::size_t>(at - 1)]);
    }
}

bool GhwRunReader::giveValue(std::uint32_t number, RunChange& change)
{
    const GhwSignals::Object& object = m_signals.objects[number];
    const std::uint32_t* const scalars = m_signals.scalars.data() + object.first;
    change.object = number;
    switch (object.form) {
    case GhwSignals::Form::Real:
        std::memcpy(&change.number, &m_values[*scalars], sizeof change.number);
        change.kind = RunChange::Kind::Number;
        return true;
    case GhwSignals::Form::Logic:
    case GhwSignals::Form::Bit: {
        const bool isLogic = object.form == GhwSignals::Form::Logic;
        const auto codeOf = [&](std::uint32_t scalar) {
            return isLogic ? logicCode(m_values[scalar])
                           : static_cast<std::uint8_t>(m_values[scalar] & 1);
        };
        if (object.count == 1) {
            change.kind = RunChange::Kind::Letter;
            change.letter = codeOf(*scalars);
            return true;
        }
        m_text.resize(object.count);
        for (std::uint32_t i = 0; i < object.count; ++i) {
            m_text[i] = kLetters[codeOf(scalars[i])];
        }
        change.kind = RunChange::Kind::Letters;
        change.text = m_text;
        return true;
    }
    case GhwSignals::Form::Text:
        m_text.clear();
        for (std::uint32_t i = 0; i < object.count; ++i) {
            const auto byte = static_cast<unsigned char>(m_values[scalars[i]]);
            // Characters of Latin-1; what is no character of a text stands as VHDL names it.
            if (byte >= 0x80) {
                m_text += static_cast<char>(0xC0 | byte >> 6);
                m_text += static_cast<char>(0x80 | (byte & 0x3F));
            } else {
                m_text += byte < ' ' || byte == 0x7f ? fmt::format("\\{:03o}", byte)
                                                     : std::string(1, static_cast<char>(byte));
            }
        }
        change.kind = RunChange::Kind::Text;
        change.text = m_text;
        return true;
    case GhwSignals::Form::Number:
        break;
    }
    if (object.width == 1) {
        change.kind = RunChange::Kind::Letter;
        change.letter = static_cast<std::uint8_t>(m_values[*scalars] & 1);
        return true;
    }
    const auto bits = static_cast<std::uint64_t>(m_values[*scalars]);
    m_text.resize(object.width);
    for (unsigned int i = 0; i < object.width; ++i) {
        m_text[i] = (bits >> (object.width - 1U - i) & 1) != 0 ? '1' : '0';
    }
    change.kind = RunChange::Kind::Letters;
    change.text = m_text;
    return true;
}

double GhwRunReader::progress() const
{
    const unsigned long long size = m_input.source().size();
    return size == 0 ? 0
                     : static_cast<double>(m_input.source().position()) / static_cast<double>(size);
}

std::string GhwRunReader::shortfall(std::string_view done) const
{
    const std::string flaw = m_input.source().flaw();
    if (m_isCutOff) {
        return fmt::format("byte {}: the file ends before its simulation did; everything before "
                           "was {}{}{}",
                           m_input.position(), done, flaw.empty() ? "" : "; ", flaw);
    }
    return flaw;
}

} // namespace tracewell
