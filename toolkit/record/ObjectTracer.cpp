#include "record/ObjectTracer.h"

#include "formats/vcd/VcdInput.h"
#include "values/VcdValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace tracewell {

namespace {

// The kinds of values of the trace functions of a transition database.
constexpr unsigned int kInt32Kind = 1;
constexpr unsigned int kRealKind = 3;
constexpr unsigned int kVlogKind = 5;
constexpr unsigned int kStdLogicKind = 6;

void traceNothing(long long, unsigned int, unsigned int, const unsigned char*) {}

void traceNoBits(long long, unsigned int, unsigned int, unsigned char*, unsigned char*,
                 unsigned int, unsigned int)
{}

bool isFourState(std::uint8_t code)
{
    return code <= kLetterX;
}

} // namespace

ObjectTracer::ObjectTracer(const Declarations& declarations, Tracewell::IWdbWriter& writer)
    : m_declarations(declarations), m_layout(declarations), m_writer(writer),
      m_trace(writer.getTraceVhdlFuncScalar()), m_traceVector(writer.getTraceVlogFunc())
{}

void ObjectTracer::setMuted(bool muted)
{
    m_trace = muted ? &traceNothing : m_writer.getTraceVhdlFuncScalar();
    m_traceVector = muted ? &traceNoBits : m_writer.getTraceVlogFunc();
}

void ObjectTracer::traceScalar(std::uint32_t object, long long time, const unsigned char* before,
                               unsigned char code)
{
    const std::uint32_t id = m_layout.idOf(object);
    const unsigned char state = isFourState(code) ? code : nearestFourState(code);
    const bool hadNine = before && !isFourState(*before);
    if (!before || (hadNine ? nearestFourState(*before) : *before) != state) {
        m_trace(time, id, kVlogKind, &state);
    }
    if (!isFourState(code)) {
        traceNineState(id, time, code);
    } else if (hadNine) {
        traceNineState(id, time, kNoNineState);
    }
}

void ObjectTracer::traceVector(std::uint32_t object, long long time, unsigned char* before,
                               unsigned char* groups, unsigned int firstBit, unsigned int endBit)
{
    // With the same place twice, every bit passes.
    m_traceVector(time, m_layout.idOf(object), kVlogKind, before ? before : groups, groups,
                  firstBit, endBit);
}

void ObjectTracer::traceReal(std::uint32_t object, long long time, const unsigned char* value)
{
    m_trace(time, m_layout.idOf(object), kRealKind, value);
}

std::string ObjectTracer::traceFiring(std::uint32_t object, long long time, std::uint8_t code)
{
    Firings& firings = m_firings[object];
    if (firings.time != time) {
        firings.time = time;
        firings.atTime = 0;
    } else if (firings.code != code) {
        return refusal(object, "fires with different letters at one time");
    }
    if (++firings.atTime > kMostFirings) {
        return refusal(object, fmt::format("fires more than {} times at once", kMostFirings));
    }
    firings.code = code;
    firings.count = (firings.count + 1) % kEventCounts;
    const std::uint32_t value = firings.count << 8 | code;
    unsigned char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    m_trace(time, m_layout.idOf(object), kInt32Kind, bytes);
    return {};
}

std::string ObjectTracer::traceText(std::uint32_t object, long long time, char kind,
                                    std::string_view text)
{
    const Object& owner = m_declarations.objects[object];
    if (kind != 'b' || owner.objectClass != ObjectClass::Vector || text.size() != owner.width) {
        switch (kind) {
        case 'b':
            return refusal(object, "takes letters that it has no bits for");
        case 'r':
            return refusal(object, owner.objectClass == ObjectClass::Real
                                       ? "takes a number that no double holds"
                                       : "takes a real number");
        case 'p':
            return refusal(object, "takes the strengths of a port");
        default:
            return refusal(object, "takes a text");
        }
    }
    std::string& present = m_nineStates[object];
    if (present.empty()) {
        present.assign(owner.width, static_cast<char>(kNoNineState));
    }
    for (std::size_t bit = 0; bit < owner.width; ++bit) {
        const std::uint8_t code = letterCode(text[owner.width - 1 - bit]);
        const std::uint8_t state = isFourState(code) ? kNoNineState : code;
        if (static_cast<std::uint8_t>(present[bit]) != state) {
            present[bit] = static_cast<char>(state);
            traceNineState(m_layout.idOf(object) + static_cast<std::uint32_t>(bit), time, state);
        }
    }
    return {};
}

void ObjectTracer::endText(std::uint32_t object, long long time)
{
    const std::string none(m_declarations.objects[object].width, '0');
    traceText(object, time, 'b', none);
}

void ObjectTracer::restate(std::uint32_t object, long long time, unsigned char* value)
{
    const Object& owner = m_declarations.objects[object];
    switch (owner.objectClass) {
    case ObjectClass::Scalar:
        traceScalar(object, time, nullptr, *value);
        break;
    case ObjectClass::Vector:
        restateVector(object, time, value, true);
        break;
    case ObjectClass::Real:
        traceReal(object, time, value);
        break;
    case ObjectClass::Event:
    case ObjectClass::String:
        break;
    }
}

void ObjectTracer::forget(std::uint32_t object, long long time, unsigned char* value,
                          unsigned char* unknown)
{
    switch (m_declarations.objects[object].objectClass) {
    case ObjectClass::Scalar:
        traceScalar(object, time, value, *unknown);
        break;
    case ObjectClass::Vector:
        restateVector(object, time, unknown, false);
        break;
    default:
        restate(object, time, unknown);
        break;
    }
}

void ObjectTracer::restateVector(std::uint32_t object, long long time, unsigned char* value,
                                 bool isKnown)
{
    const unsigned int width = m_declarations.objects[object].width;
    traceVector(object, time, nullptr, value, 0, width);
    const auto found = m_nineStates.find(object);
    for (std::uint32_t bit = 0; found != m_nineStates.end() && bit < width; ++bit) {
        const auto state = static_cast<std::uint8_t>(found->second[bit]);
        if (state != kNoNineState) {
            traceNineState(m_layout.idOf(object) + bit, time, isKnown ? state : kNoNineState);
        }
    }
}

void ObjectTracer::traceNineState(std::uint32_t id, long long time, unsigned char code)
{
    m_trace(time, id + m_layout.nineStateOffset(), kStdLogicKind, &code);
}

std::string ObjectTracer::refusal(std::uint32_t object, const std::string& what)
{
    if (!m_refused.insert(object).second) {
        return {};
    }
    const auto variable =
        std::find_if(m_declarations.variables.begin(), m_declarations.variables.end(),
                     [&](const Variable& each) { return each.object == object; });
    return fmt::format(
        "{} {}, which a transition database cannot keep; leave --store transitions out",
        inQuotes(m_declarations.fullName(
            static_cast<std::size_t>(variable - m_declarations.variables.begin()))),
        what);
}

} // namespace tracewell
