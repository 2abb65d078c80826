// SPDX-License-Identifier: BSD-3-Clause

#include "view/RequestRules.h"

#include "view/PageFiles.h"

#include <algorithm>

namespace tracewell {

RequestRules::Answer RequestRules::judge(const Request& request) const
{
    if (request.hosts != 1 || request.origins > 1 || !isOwnHost(request.host)) {
        // A name that was bound to the loopback afterwards, too.
        return Answer::Refused;
    }
    if (request.hasOrigin && request.origin != "http://" + std::string(request.host)) {
        return Answer::Refused;
    }
    if (request.method != "GET" || request.hasBody) {
        return Answer::NotAllowed;
    }
    if (request.target == kDataTarget) {
        return request.isUpgrade && request.hasOrigin ? Answer::Data : Answer::Refused;
    }
    if (request.isUpgrade) {
        return Answer::Refused;
    }
    return findPageFile(request.target) != nullptr ? Answer::Page : Answer::NotFound;
}

bool RequestRules::isOwnHost(std::string_view host) const
{
    if (m_port != 0) {
        const std::string port = std::to_string(m_port);
        return host == "127.0.0.1:" + port || host == "localhost:" + port;
    }
    const std::size_t colon = host.rfind(':');
    const std::string_view name = host.substr(0, colon);
    const std::string_view port =
        colon == std::string_view::npos ? std::string_view() : host.substr(colon + 1);
    constexpr std::size_t kLongestPort = 5;
    return (name == "localhost" || name == "127.0.0.1") && port.size() <= kLongestPort &&
           (colon == std::string_view::npos || !port.empty()) &&
           std::all_of(port.begin(), port.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace tracewell
