// SPDX-License-Identifier: BSD-3-Clause

#include "QsimException.h"

namespace Qsim {

namespace {

std::string collapsePercents(const char* message)
{
    std::string text;
    for (const char* c = message ? message : ""; *c != '\0'; ++c) {
        text += *c;
        if (c[0] == '%' && c[1] == '%') {
            ++c;
        }
    }
    return text;
}

} // namespace

Exception::Exception(const char* /*component*/, const char* /*sourcePath*/,
                     const char* /*sourceId*/, int /*line*/, const char* message)
    : m_message(message ? message : "")
{}

Exception::~Exception() = default;

OpenException::OpenException(const char* component, const char* sourcePath, const char* sourceId,
                             int line, const char* message)
    : Exception(component, sourcePath, sourceId, line, collapsePercents(message).c_str())
{}

OpenException::~OpenException() = default;

IOException::IOException(const char* component, const char* sourcePath, const char* sourceId,
                         int line, const char* message)
    : Exception(component, sourcePath, sourceId, line, collapsePercents(message).c_str())
{}

IOException::~IOException() = default;

AssertException::AssertException(const char* component, const char* sourcePath,
                                 const char* sourceId, int line)
    : Exception(component, sourcePath, sourceId, line, "QSIM assertion failed.\n")
{}

AssertException::~AssertException() = default;

} // namespace Qsim
