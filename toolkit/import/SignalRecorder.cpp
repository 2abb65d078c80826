// SPDX-License-Identifier: BSD-3-Clause

#include "import/SignalRecorder.h"

#include "text/Message.h"

#include <fmt/format.h>

#include <algorithm>

namespace tracewell {

namespace {

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

std::string SignalRecorder::apply(const RunChange& change)
{
    bool isValue = true;
    switch (change.kind) {
    case RunChange::Kind::Time:
        m_values.setTime(change.time);
        return {};
    case RunChange::Kind::Letter:
        m_values.storeLetter(change.object, change.letter);
        break;
    case RunChange::Kind::Letters:
        isValue =
            m_values.store(change.object, ChangeForm::Letters, change.text) ||
            m_values.store(change.object, ChangeForm::Letters, withoutDecoration(change.text));
        break;
    case RunChange::Kind::Real:
        isValue = m_values.store(change.object, ChangeForm::Real, change.text);
        break;
    case RunChange::Kind::Number:
        m_values.storeReal(change.object, change.number);
        break;
    case RunChange::Kind::Text:
        m_values.store(change.object, ChangeForm::Text, change.text);
        break;
    case RunChange::Kind::Port:
        m_values.store(change.object, ChangeForm::Port, change.text);
        break;
    }
    if (isValue) {
        return m_values.refusal();
    }
    return change.kind == RunChange::Kind::Real
               ? fmt::format("{} is no real number; repair the line", inQuotes(change.text))
               : fmt::format("{} is no value of 0, 1, x, z and the other letters of nine states; "
                             "repair the line",
                             inQuotes(withoutDecoration(change.text)));
}

} // namespace tracewell
