#include "import/SignalRecorder.h"

#include "values/VcdValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace tracewell {

namespace {

std::string badLetters(std::string_view text)
{
    return fmt::format(
        "{} is no value of 0, 1, x, z and the other letters of nine states; repair the line",
        inQuotes(text));
}

/// Some tools write the digits of a vector as their language does: "0b1010_0011".
std::string withoutDecoration(std::string_view letters)
{
    if (letters.size() > 2 && letters[0] == '0' && (letters[1] == 'b' || letters[1] == 'B')) {
        letters.remove_prefix(2);
    }
    std::string plain(letters);
    if (letters.find_first_not_of('_') != std::string_view::npos) {
        plain.erase(std::remove(plain.begin(), plain.end(), '_'), plain.end());
    }
    return plain;
}

} // namespace

std::string SignalRecorder::apply(const VcdChange& change)
{
    switch (change.kind) {
    case VcdChange::Kind::Time:
        setTime(change.time);
        break;
    case VcdChange::Kind::Letter:
        setLetter(change.object, change.letter);
        break;
    case VcdChange::Kind::Letters:
        return setLetters(change.object, change.text);
    case VcdChange::Kind::Real:
        return setReal(change.object, change.text);
    case VcdChange::Kind::Text:
        setText(change.object, change.text);
        break;
    case VcdChange::Kind::Port:
        return setPort(change.object, change.text);
    }
    return refusal();
}

void SignalRecorder::setLetter(std::uint32_t object, std::uint8_t code)
{
    switch (stateOf(object).objectClass) {
    case ObjectClass::Scalar:
        storeExact(object, &code);
        break;
    case ObjectClass::Event:
        fire(object, code);
        break;
    default:
        setLetters(object, std::string_view(&kLetters[code], 1));
        break;
    }
}

std::string SignalRecorder::setLetters(std::uint32_t object, std::string_view letters)
{
    State& state = stateOf(object);
    if (state.objectClass == ObjectClass::Vector && storeLetters(object, letters)) {
        return refusal();
    }
    if (const std::string plain = withoutDecoration(letters); plain.size() != letters.size()) {
        return setLetters(object, plain);
    }
    if (letters.empty() || !std::all_of(letters.begin(), letters.end(), [](char letter) {
            return letterCode(letter) != kNoLetter;
        })) {
        return badLetters(letters);
    }
    const bool hasBits =
        state.objectClass != ObjectClass::Real && state.objectClass != ObjectClass::String;
    const std::string canonical =
        canonicalLetters(letters, hasBits ? 1 : static_cast<unsigned int>(letters.size()));
    if (!hasBits) {
        storeBeside(object, 'b', canonical);
        return refusal();
    }
    std::uint8_t code = letterCode(canonical.back());
    if (canonical.size() > 1 && state.objectClass == ObjectClass::Scalar) {
        code = nearestFourState(code);
    }
    if (state.objectClass == ObjectClass::Event) {
        fire(object, code);
    } else if (canonical.size() == 1) {
        storeExact(object, &code);
    } else {
        storePlain(state, &code);
    }
    if (canonical.size() > 1) {
        storeText(object, 'b', canonical);
    }
    return refusal();
}

std::string SignalRecorder::setReal(std::uint32_t object, std::string_view text)
{
    State& state = stateOf(object);
    double value = 0;
    const RealForm form = toReal(text, value);
    if (form == RealForm::Invalid) {
        return fmt::format("{} is no real number; repair the line", inQuotes(text));
    }
    unsigned char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    if (state.objectClass != ObjectClass::Real) {
        storeBeside(object, 'r', text);
    } else if (form == RealForm::Exact) {
        storeExact(object, bytes);
    } else {
        storePlain(state, bytes);
        storeText(object, 'r', text);
    }
    return refusal();
}

void SignalRecorder::setText(std::uint32_t object, std::string_view text)
{
    if (stateOf(object).objectClass != ObjectClass::String) {
        storeBeside(object, 's', text);
        return;
    }
    storeString(object, text);
}

/// The states stand before the first blank; they are letters of a kind of their own.
std::string SignalRecorder::setPort(std::uint32_t object, std::string_view text)
{
    State& state = stateOf(object);
    std::string letters;
    for (const char port : text.substr(0, text.find(' '))) {
        letters += kLetters[portState(port)];
    }
    if (state.objectClass == ObjectClass::Vector) {
        toGroups(letters, state.width, scratch());
        storePlain(state, scratch());
    } else if (state.objectClass == ObjectClass::Scalar) {
        const std::uint8_t code = letterCode(letters.back());
        storePlain(state, &code);
    } else {
        storeBeside(object, 'p', text);
        return refusal();
    }
    storeText(object, 'p', text);
    return refusal();
}

} // namespace tracewell
