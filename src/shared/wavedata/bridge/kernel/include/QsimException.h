// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "TracewellExport.h"

#include <string>

namespace Qsim {

/// An error that the caller can act on. Only the message is kept; component, source path,
/// source-control identification and line are accepted for the benefit of the throw site.
class TRACEWELL_API Exception
{
public:
    Exception(const char* component, const char* sourcePath, const char* sourceId, int line,
              const char* message);
    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;
    virtual ~Exception();

    const std::string& getMessage() const { return m_message; }
    const char* what() const { return m_message.c_str(); }

private:
    std::string m_message;
};

/// Something could not be opened, created or found. "%%" in the message comes out as "%"; no
/// other "%" has a meaning.
class TRACEWELL_API OpenException : public Exception
{
public:
    OpenException(const char* component, const char* sourcePath, const char* sourceId, int line,
                  const char* message);
    ~OpenException() override;
};

/// A transfer failed. Treats "%%" as OpenException does.
class TRACEWELL_API IOException : public Exception
{
public:
    IOException(const char* component, const char* sourcePath, const char* sourceId, int line,
                const char* message);
    ~IOException() override;
};

/// An internal expectation did not hold; the text is always "QSIM assertion failed.\n".
class TRACEWELL_API AssertException : public Exception
{
public:
    AssertException(const char* component, const char* sourcePath, const char* sourceId, int line);
    ~AssertException() override;
};

} // namespace Qsim
