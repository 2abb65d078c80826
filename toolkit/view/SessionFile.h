// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace tracewell {

/// Where a page's arrangement is kept. It replaces what is a session, or nothing, and never another
/// file.
class SessionFile
{
public:
    /// `path` is empty for none.
    /// \throws Failure when something else than a session is there, or it cannot be read.
    explicit SessionFile(std::string path);

    bool isNamed() const { return !m_path.empty(); }
    const std::string& path() const { return m_path; }
    /// Null where there is none yet.
    /// \throws Failure as the constructor.
    nlohmann::json read() const;
    /// \throws Failure when it cannot be written, or something else has come to be there.
    void write(const nlohmann::json& session) const;

private:
    std::string m_path;
};

} // namespace tracewell
