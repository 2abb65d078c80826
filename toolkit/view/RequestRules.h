// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <string>
#include <string_view>

namespace tracewell {

/// Who may ask the server of a page, so that on a machine with other users, and beside pages of
/// others in the same browser, nobody but its own page gets an answer.
class RequestRules
{
public:
    /// On a port of the loopback; 0 for a socket of the file system, to which a tunnel leads from
    /// any port of the other end's loopback.
    explicit RequestRules(unsigned short port) : m_port(port) {}

    struct Request
    {
        std::string_view method;
        std::string_view target;
        std::string_view host;
        std::string_view origin;
        bool hasOrigin = false;
        /// How often each of both headers stands there.
        unsigned int hosts = 0;
        unsigned int origins = 0;
        bool isUpgrade = false;
        bool hasBody = false;
    };

    enum class Answer { Page, Data, NotFound, NotAllowed, Refused };

    Answer judge(const Request& request) const;

    /// The place at which pages open the connection for data.
    static constexpr std::string_view kDataTarget = "/data";

private:
    bool isOwnHost(std::string_view host) const;

    unsigned short m_port;
};

} // namespace tracewell
