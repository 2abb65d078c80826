// SPDX-License-Identifier: BSD-3-Clause

#include "arrays/HistoryArrays.h"

#include "values/FourState.h"
#include "values/VcdValues.h"
#include "wave/ValueText.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace tracewell {

namespace {

HistoryArrays::Kind kindOf(const Signal& signal)
{
    const ValueKind& kind = *signal.valueKind;
    return kind.fires()     ? HistoryArrays::Kind::Event
           : kind.isText()  ? HistoryArrays::Kind::Text
           : kind.hasBits() ? HistoryArrays::Kind::Bits
           : kind.isRaw()   ? HistoryArrays::Kind::Bytes
                            : HistoryArrays::Kind::Real;
}

/// Letters from this code on are none of four states.
constexpr unsigned int kFourStates = 4;

/// Puts the states of a cursor behind each other.
class Reader
{
public:
    Reader(const SignalValues& values, std::size_t index, bool areStatesKept, HistoryArrays& arrays)
        : m_values(values), m_signal(values.signals()[index]), m_areStatesKept(areStatesKept),
          m_arrays(arrays), m_bits(m_signal.width),
          m_plainBits(m_signal.width + m_signal.bitsBefore),
          m_valueText([&values](long long id) { return values.lookUp(id); })
    {
        arrays.kind = kindOf(m_signal);
        m_mask = m_signal.width >= 32 ? 0xffffffffu : (1u << m_signal.width) - 1;
        arrays.width = arrays.kind == HistoryArrays::Kind::Event ? 1 : m_signal.width;
        arrays.wordsEach = arrays.kind == HistoryArrays::Kind::Bits
                               ? static_cast<unsigned int>(m_bits.words())
                           : arrays.kind == HistoryArrays::Kind::Bytes
                               ? static_cast<unsigned int>((m_signal.size + 7) / 8)
                               : 1;
    }

    /// Whether takePlain() knows what to do.
    bool takesPlain() const
    {
        return m_signal.width <= 32 || m_arrays.kind == HistoryArrays::Kind::Real;
    }
    /// The plain value alone, of at most eight bytes.
    void takePlain(long long time, unsigned long long bytes)
    {
        if (m_arrays.kind == HistoryArrays::Kind::Real) {
            double number = 0;
            std::memcpy(&number, &bytes, sizeof number);
            putReal(time, number);
            return;
        }
        const bool isLetter = m_signal.valueKind->isLetter();
        const unsigned int letter =
            isLetter ? nearestFourState(static_cast<std::uint8_t>(bytes)) : 0;
        const unsigned long long a = isLetter ? letter & 1 : bytes & m_mask;
        const unsigned long long b = isLetter ? letter >> 1 : bytes >> 32 & m_mask;
        std::string letters;
        if (m_areStatesKept && isLetter && bytes >= kFourStates) {
            letters = letterOf(static_cast<unsigned int>(bytes));
        }
        if (m_arrays.size() == 0 || a != m_lastA || b != m_lastB || letters != m_lastLetters) {
            m_lastA = a;
            m_lastB = b;
            m_arrays.words.push(m_areStatesKept ? a : a & ~b);
            m_arrays.unknown.push(b);
            keepLetters(std::move(letters));
            m_arrays.times.push(time);
        }
    }

    void take(long long time, const SignalState& state)
    {
        if (state.kind != SignalState::Kind::Value) {
            return;
        }
        switch (m_arrays.kind) {
        case HistoryArrays::Kind::Bits:
            takeBits(time, state);
            break;
        case HistoryArrays::Kind::Event:
            m_arrays.times.push(time);
            m_arrays.words.push(state.firings);
            break;
        case HistoryArrays::Kind::Text:
            takeText(time, state);
            break;
        case HistoryArrays::Kind::Real:
            takeReal(time, state);
            break;
        case HistoryArrays::Kind::Bytes:
            takeBytes(time, state);
            break;
        }
    }

    /// Of all entries so far.
    std::size_t textBytes() const { return m_textBytes; }

private:
    void takeBits(long long time, const SignalState& state)
    {
        std::string nine;
        if (state.override.kind == 0 && state.letters.empty() && m_signal.valueKind->isLetter()) {
            m_bits.setBit(0, nearestFourState(state.plain[0]));
            if (m_areStatesKept && state.plain[0] >= kFourStates) {
                nine = letterOf(state.plain[0]);
            }
        } else if (state.override.kind == 0 && state.letters.empty()) {
            m_plainBits.setGroups(state.plain.data());
            m_bits.setSelected(m_plainBits, m_signal.bitsBefore);
        } else {
            const std::string letters = m_valueText.letters(m_signal, state);
            if (letters.size() == m_signal.width) {
                m_bits.setLetters(letters);
            } else {
                m_bits.fill(3);
            }
            if (m_areStatesKept && letters.find_first_not_of("01xz") != std::string::npos) {
                nine = letters;
            }
        }
        const std::size_t words = m_bits.words();
        unsigned long long* const value = m_arrays.words.extend(words);
        unsigned long long* const unknown = m_arrays.unknown.extend(words);
        for (std::size_t i = 0; i < words; ++i) {
            value[i] = m_areStatesKept ? m_bits.a()[i] : m_bits.a()[i] & ~m_bits.b()[i];
            unknown[i] = m_bits.b()[i];
        }
        // x and z are told apart by the state that was taken.
        if (m_arrays.size() > 0 && m_last.isSame(m_bits) && nine == m_lastLetters) {
            m_arrays.words.dropLast(words);
            m_arrays.unknown.dropLast(words);
            return;
        }
        m_last = m_bits;
        keepLetters(std::move(nine));
        m_arrays.times.push(time);
    }

    /// Of the entry that is about to come.
    void keepLetters(std::string letters)
    {
        if (!letters.empty()) {
            m_arrays.letters.emplace_back(m_arrays.size(), letters);
        }
        m_lastLetters = std::move(letters);
    }

    void takeText(long long time, const SignalState& state)
    {
        std::string text = textOf(state);
        if (m_arrays.texts.empty() || m_arrays.texts.back() != text) {
            m_arrays.times.push(time);
            m_textBytes += text.size();
            m_arrays.texts.push_back(std::move(text));
        }
    }

    std::string textOf(const SignalState& state) const
    {
        TextReference reference = state.override;
        if (reference.kind == 0 && state.plain.size() >= sizeof reference) {
            std::memcpy(&reference, state.plain.data(), sizeof reference);
        }
        std::string text;
        for (unsigned int piece = 0; piece < reference.pieces; ++piece) {
            const std::string part =
                m_values.lookUp(static_cast<long long>(reference.firstId) + piece);
            // No piece is empty: this one is not there, nor what a damaged number says of others.
            if (part.empty()) {
                break;
            }
            text += part;
        }
        return text;
    }

    void takeReal(long long time, const SignalState& state)
    {
        double number = std::numeric_limits<double>::quiet_NaN();
        if (state.override.kind != 0) {
            if (toReal(textOf(state), number) == RealForm::Invalid) {
                number = std::numeric_limits<double>::quiet_NaN();
            }
        } else {
            number = m_valueText.number(m_signal, state).value_or(number);
        }
        putReal(time, number);
    }

    void putReal(long long time, double number)
    {
        if (m_arrays.size() == 0 ||
            std::memcmp(&m_arrays.reals.back(), &number, sizeof number) != 0) {
            m_arrays.times.push(time);
            m_arrays.reals.push(number);
        }
    }

    void takeBytes(long long time, const SignalState& state)
    {
        unsigned long long* const value = m_arrays.words.extend(m_arrays.wordsEach);
        std::fill_n(value, m_arrays.wordsEach, 0);
        std::memcpy(value, state.plain.data(),
                    std::min(state.plain.size(), 8 * std::size_t{m_arrays.wordsEach}));
        m_arrays.times.push(time);
    }

    const SignalValues& m_values;
    const Signal& m_signal;
    const bool m_areStatesKept;
    HistoryArrays& m_arrays;
    FourState m_bits;
    FourState m_plainBits;
    FourState m_last;
    // Of takePlain().
    unsigned long long m_mask = 0;
    unsigned long long m_lastA = 0;
    unsigned long long m_lastB = 0;
    std::string m_lastLetters;
    std::size_t m_textBytes = 0;
    ValueText m_valueText;
};

} // namespace

const std::string* HistoryArrays::lettersOf(std::size_t entry) const
{
    const auto found = std::lower_bound(
        letters.begin(), letters.end(), entry,
        [](const auto& candidate, std::size_t wanted) { return candidate.first < wanted; });
    return found != letters.end() && found->first == entry ? &found->second : nullptr;
}

bool HistoryArrays::isSame(std::size_t entry, const HistoryArrays& other,
                           std::size_t otherEntry) const
{
    const auto areSame = [&](const auto& numbers, const auto& others, std::size_t each) {
        return numbers.size() == 0 ||
               std::memcmp(numbers.data() + entry * each, others.data() + otherEntry * each,
                           each * sizeof *numbers.data()) == 0;
    };
    const std::string* const own = lettersOf(entry);
    const std::string* const others = other.lettersOf(otherEntry);
    return areSame(words, other.words, wordsEach) && areSame(unknown, other.unknown, wordsEach) &&
           areSame(reals, other.reals, 1) &&
           (texts.empty() || texts[entry] == other.texts[otherEntry]) &&
           (own == nullptr || others == nullptr ? own == others : *own == *others);
}

HistoryArrays readHistory(const SignalValues& values, std::size_t signal, const HistoryOrder& order)
{
    HistoryArrays arrays;
    Reader reader(values, signal, order.areStatesKept, arrays);
    const long long from = order.from;
    const long long to = order.to;
    if (from > to) {
        return arrays;
    }
    const auto hasRoom = [&] {
        arrays.isCut = arrays.size() >= order.most ||
                       (reader.textBytes() >= order.mostTextBytes && arrays.size() > 1);
        return !arrays.isCut;
    };
    const auto takePlain = [&](long long time, unsigned long long bytes) {
        reader.takePlain(std::max(time, from), bytes);
        return hasRoom();
    };
    if (!reader.takesPlain() || !values.visitPlain(signal, from, to, takePlain)) {
        const std::unique_ptr<SignalCursor> cursor = values.cursor(signal, {from, to, 0});
        while (hasRoom() && cursor->next()) {
            reader.take(std::max(cursor->time(), from), cursor->state());
        }
    }
    arrays.times.shrink();
    arrays.words.shrink();
    arrays.unknown.shrink();
    arrays.reals.shrink();
    return arrays;
}

} // namespace tracewell
