// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "view/ViewAnswers.h"

#include <functional>
#include <memory>
#include <string>

namespace tracewell {

/// Where a server listens, and when it ends.
struct ViewServerOptions
{
    /// On 127.0.0.1; 0 for a free one.
    unsigned short port = 0;
    /// A socket of the file system in place of a port, for this user alone.
    std::string socket;
    /// A port of 127.0.0.1 at which other programs drive the page; 0 for none.
    unsigned short control = 0;
    /// Seconds after which it ends when the last page has gone; below 0 for never.
    double endAfter = -1;
};

/// Serves a page and what it asks for on the loopback: to who shows the token of the page's
/// address, and to pages of its own alone. Connections are on the thread that calls run(), answers
/// on another one.
class ViewServer
{
public:
    /// Listens from here on. `answers` outlives it.
    /// \throws Failure when it cannot listen there.
    ViewServer(const ViewServerOptions& options, ViewAnswers& answers);
    ViewServer(const ViewServer&) = delete;
    ViewServer& operator=(const ViewServer&) = delete;
    ~ViewServer();

    /// What a browser is to open: "http://127.0.0.1:PORT/#token=...". Of a socket the port is that
    /// of the tunnel, and stands as PORT.
    std::string address() const;
    /// Until a signal ends it, or the last page has gone long enough.
    void run();

private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

} // namespace tracewell
