// SPDX-License-Identifier: BSD-3-Clause

#include "TransitionLog.h"

#include "platform/DescriptorFile.h"

#include <cstdio>

namespace Tracewell {

namespace {

template <class... Arguments>
void append(std::string& text, const char* format, Arguments... arguments)
{
    char piece[64];
    std::snprintf(piece, sizeof piece, format, arguments...);
    text += piece;
}

} // namespace

void TransitionLog::enter(std::uint32_t id, long long time, const Value& value)
{
    append(m_text, "%d %lld", static_cast<int>(id), time);
    switch (value.getType()) {
    case ValueByte:
    case ValueBit:
    case ValueVlog:
    case ValueStdLogic:
        append(m_text, " %d", value.getByte());
        break;
    case ValueInt32:
        append(m_text, " %d", value.getInt32());
        break;
    case ValueInt64:
        append(m_text, " %lld", value.getInt64());
        break;
    case ValueDouble:
        append(m_text, " %.17g", value.getDouble());
        break;
    default:
        append(m_text, " value type %d", static_cast<int>(value.getType()));
    }
    m_text += '\n';
}

void TransitionLog::clear()
{
    m_text.clear();
}

void TransitionLog::write(const std::string& path) const
{
    DescriptorFile file;
    if (file.open(path, DescriptorFile::Mode::Create)) {
        file.writeAt(0, m_text.data(), m_text.size());
    }
}

} // namespace Tracewell
