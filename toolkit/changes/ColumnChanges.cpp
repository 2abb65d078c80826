// SPDX-License-Identifier: BSD-3-Clause

#include "changes/ColumnChanges.h"

#include <cstring>

namespace tracewell {

ColumnChanges::ColumnChanges(const std::string& path, Reach reach)
    : ReplayedChanges(path), m_reach(reach), m_file(path, reach), m_texts(path)
{
    m_file.requireNames();
    start(m_texts);
    m_fields.resize(m_file.reader().getFieldCount());
    for (unsigned int i = 0; i < m_fields.size(); ++i) {
        m_fields[i] = m_file.reader().getField(i);
    }
}

void ColumnChanges::choose(const std::vector<std::uint32_t>& objects)
{
    std::vector<unsigned int> fields;
    const auto add = [&](long long address, long long size) {
        const std::vector<unsigned int> found = m_file.reader().findFields(address, size);
        fields.insert(fields.end(), found.begin(), found.end());
    };
    for (const std::uint32_t object : objects) {
        add(layout().addressOf(object), DataLayout::sizeOf(declarations().objects[object]));
        add(layout().overrideOf(object), sizeof(TextReference));
    }
    m_isEmpty = fields.empty();
    if (!m_isEmpty) {
        m_replay = m_file.reader().getReplay(fields);
    }
}

bool ColumnChanges::findNext(long long& time)
{
    if (!m_replay && !m_isEmpty) {
        m_replay = m_file.reader().getReplay();
    }
    if (!m_isWaiting) {
        m_isWaiting = m_replay && m_replay->next();
    }
    if (!m_isWaiting || m_replay->getTime() > m_file.end()) {
        return false;
    }
    time = m_replay->getTime();
    return true;
}

void ColumnChanges::applyNext()
{
    for (const Tracewell::WdbColumnReplay::Change& change : m_replay->getChanges()) {
        const Tracewell::WdbColumnField& field = m_fields[change.field];
        unsigned char bytes[sizeof change.value];
        std::memcpy(bytes, &change.value, sizeof bytes);
        values().apply(field.address, bytes, field.size);
    }
    m_isWaiting = false;
}

/// What only damaged texts tell, nothing tells: there the run ends.
bool ColumnChanges::advance()
{
    const bool isChanged = ReplayedChanges::advance();
    for (const std::uint32_t object : changed()) {
        if (!values().isTextThere(object) && !m_texts.damage().empty()) {
            m_file.endAt(time() - 1);
            dropChanges();
            return false;
        }
    }
    return isChanged;
}

std::vector<std::string> ColumnChanges::shortfalls() const
{
    if (const std::optional<std::string> text = m_file.damageText(m_texts.damage())) {
        return {*text};
    }
    std::vector<std::string> lines = m_file.shortfalls();
    const std::vector<std::string> texts = ReplayedChanges::shortfalls();
    if (m_reach == Reach::Whole) {
        lines.insert(lines.end(), texts.begin(), texts.end());
    }
    return lines;
}

std::vector<std::string> ColumnChanges::notices() const
{
    if (m_file.damageText(m_texts.damage())) {
        return {};
    }
    std::vector<std::string> lines = m_file.notices();
    const std::vector<std::string> texts = ReplayedChanges::shortfalls();
    if (m_reach == Reach::Beyond) {
        lines.insert(lines.end(), texts.begin(), texts.end());
    }
    return lines;
}

} // namespace tracewell
