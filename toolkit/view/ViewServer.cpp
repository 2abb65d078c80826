// SPDX-License-Identifier: BSD-3-Clause

#include "view/ViewServer.h"

#include "text/Failure.h"
#include "view/AnswerQueue.h"
#include "view/PageFiles.h"
#include "view/PageToken.h"
#include "view/RequestRules.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <deque>
#include <map>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace tracewell {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using boost::system::error_code;

namespace {

constexpr unsigned int kMostConnections = 64;
constexpr unsigned int kMostPages = 100;
constexpr std::size_t kLongestHeader = 8 * 1024;
constexpr std::size_t kLongestMessage = 4 << 20;
/// Bytes of answers that a page may leave unread.
constexpr std::size_t kMostUnread = 256u << 20;
constexpr std::chrono::seconds kRequestTime(30);
constexpr std::chrono::seconds kTokenTime(10);

/// A page's connection for data, whatever it goes over.
class Page
{
public:
    virtual ~Page() = default;
    virtual void send(PageMessage message) = 0;
    virtual void close() = 0;
};

} // namespace

class ViewServer::Implementation
{
public:
    Implementation(const ViewServerOptions& options, ViewAnswers& answers);
    ~Implementation();
    std::string address() const;
    void run();

    // For connections, on the thread of run().

    const RequestRules& rules() const { return m_rules; }
    const PageToken& token() const { return m_token; }
    AnswerQueue& queue() { return *m_queue; }
    asio::io_context& context() { return m_context; }
    bool mayConnect() { return m_connections < kMostConnections + m_pages.size(); }
    void connected() { ++m_connections; }
    void disconnected() { --m_connections; }
    /// 0 when there are too many.
    std::uint64_t addPage(const std::weak_ptr<Page>& page);
    void removePage(std::uint64_t number);
    /// Has the page that came last do what a program asks of it. False without a page.
    bool control(std::uint64_t program, const nlohmann::json& command);
    /// A page's answer to that.
    void controlled(const nlohmann::json& answer);
    std::uint64_t addProgram(const std::weak_ptr<Page>& program);
    void removeProgram(std::uint64_t number) { m_programs.erase(number); }
    /// Sends to a page that may have gone. On any thread.
    void deliver(std::uint64_t number, PageMessage message);

private:
    template <typename Acceptor> void accept(Acceptor& acceptor);
    void endWhenAlone();
    void broadcast(const std::string& text);
    void acceptControl();

    // What connections need until the last of them has gone with the context.
    RequestRules m_rules{0};
    PageToken m_token;
    std::string m_socket;
    double m_endAfter;
    bool m_isEnding = false;
    std::size_t m_connections = 0;
    std::uint64_t m_lastPage = 0;
    std::map<std::uint64_t, std::weak_ptr<Page>> m_pages;
    std::map<std::uint64_t, std::weak_ptr<Page>> m_programs;

    asio::io_context m_context;
    std::optional<asio::ip::tcp::acceptor> m_port;
    std::optional<asio::local::stream_protocol::acceptor> m_local;
    std::optional<asio::ip::tcp::acceptor> m_control;
    asio::signal_set m_signals;
    asio::steady_timer m_alone;
    /// Goes first: its answers go to the pages.
    std::optional<AnswerQueue> m_queue;
};

namespace {

/// Counts a connection while it is there.
template <typename Owner> class Connected
{
public:
    explicit Connected(Owner& owner) : m_owner(owner) { m_owner.connected(); }
    Connected(const Connected&) = delete;
    Connected& operator=(const Connected&) = delete;
    ~Connected() { m_owner.disconnected(); }

private:
    Owner& m_owner;
};

/// Talks to a page, which must show the token first.
template <typename Protocol, typename Owner>
class PageConnection : public Page,
                       public std::enable_shared_from_this<PageConnection<Protocol, Owner>>
{
public:
    using Stream = beast::basic_stream<Protocol>;

    PageConnection(Stream&& stream, Owner& owner)
        : m_stream(std::move(stream)), m_owner(owner), m_connected(owner),
          m_tokenTimer(owner.context())
    {}
    ~PageConnection() override
    {
        if (m_number != 0) {
            m_owner.removePage(m_number);
        }
    }

    template <typename Request> void start(const Request& request)
    {
        beast::get_lowest_layer(m_stream).expires_never();
        m_stream.set_option(websocket::stream_base::timeout::suggested(beast::role_type::server));
        m_stream.read_message_max(kLongestMessage);
        m_stream.async_accept(request, [self = this->shared_from_this()](error_code error) {
            if (!error) {
                self->awaitToken();
                self->read();
            }
        });
    }

    void send(PageMessage message) override
    {
        m_unread += message.bytes.size();
        if (m_unread > kMostUnread) {
            close();
            return;
        }
        m_outgoing.push_back(std::move(message));
        if (m_outgoing.size() == 1) {
            write();
        }
    }

    void close() override
    {
        error_code ignored;
        beast::get_lowest_layer(m_stream).socket().close(ignored);
    }

private:
    void awaitToken()
    {
        m_tokenTimer.expires_after(kTokenTime);
        m_tokenTimer.async_wait([self = this->weak_from_this()](error_code error) {
            const auto page = self.lock();
            if (!error && page && page->m_number == 0) {
                page->close();
            }
        });
    }

    void read()
    {
        m_stream.async_read(m_buffer,
                            [self = this->shared_from_this()](error_code error, std::size_t) {
                                if (!error) {
                                    self->take();
                                }
                            });
    }

    void take()
    {
        std::string text = beast::buffers_to_string(m_buffer.data());
        m_buffer.consume(m_buffer.size());
        constexpr std::string_view kControlled = "{\"controlled\":";
        if (m_number == 0) {
            if (!greet(text)) {
                close();
                return;
            }
        } else if (text.compare(0, kControlled.size(), kControlled) == 0) {
            m_owner.controlled(nlohmann::json::parse(text, nullptr, false));
        } else if (!m_owner.queue().ask(m_number, std::move(text),
                                        [&owner = m_owner, number = m_number](PageMessage answer) {
                                            owner.deliver(number, std::move(answer));
                                        })) {
            close();
            return;
        }
        read();
    }

    /// {"token": "..."}
    bool greet(const std::string& text)
    {
        const nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
        if (!json.is_object() || !json.contains("token") || !json["token"].is_string() ||
            !m_owner.token().matches(json["token"].get_ref<const std::string&>())) {
            return false;
        }
        m_number = m_owner.addPage(this->weak_from_this());
        m_tokenTimer.cancel();
        return m_number != 0;
    }

    void write()
    {
        m_stream.text(m_outgoing.front().isText);
        m_stream.async_write(asio::buffer(m_outgoing.front().bytes),
                             [self = this->shared_from_this()](error_code error, std::size_t size) {
                                 if (error) {
                                     return;
                                 }
                                 self->m_unread -= std::min(self->m_unread, size);
                                 self->m_outgoing.pop_front();
                                 if (!self->m_outgoing.empty()) {
                                     self->write();
                                 }
                             });
    }

    websocket::stream<Stream> m_stream;
    Owner& m_owner;
    Connected<Owner> m_connected;
    asio::steady_timer m_tokenTimer;
    beast::flat_buffer m_buffer;
    std::deque<PageMessage> m_outgoing;
    std::size_t m_unread = 0;
    /// 0 until the token was shown.
    std::uint64_t m_number = 0;
};

/// One request after the other, until one opens a connection for data.
template <typename Protocol, typename Owner>
class HttpConnection : public std::enable_shared_from_this<HttpConnection<Protocol, Owner>>
{
public:
    using Stream = beast::basic_stream<Protocol>;

    HttpConnection(Stream&& stream, Owner& owner)
        : m_stream(std::move(stream)), m_owner(owner), m_connected(owner)
    {}

    void read()
    {
        m_parser.emplace();
        m_parser->header_limit(kLongestHeader);
        m_parser->body_limit(0);
        m_stream.expires_after(kRequestTime);
        http::async_read(m_stream, m_buffer, *m_parser,
                         [self = this->shared_from_this()](error_code error, std::size_t) {
                             self->take(error);
                         });
    }

private:
    using Request = http::request<http::string_body>;

    static std::string_view view(beast::string_view text) { return {text.data(), text.size()}; }

    void take(error_code error)
    {
        if (error == http::error::end_of_stream || error == beast::error::timeout) {
            close();
            return;
        }
        if (error) {
            answer(http::status::bad_request, "text/plain; charset=utf-8", "no request\n", false);
            return;
        }
        const Request& request = m_parser->get();
        RequestRules::Request asked;
        asked.method = view(request.method_string());
        asked.target = view(request.target());
        asked.host = view(request[http::field::host]);
        asked.origin = view(request[http::field::origin]);
        asked.hosts = static_cast<unsigned int>(request.count(http::field::host));
        asked.origins = static_cast<unsigned int>(request.count(http::field::origin));
        asked.hasOrigin = asked.origins > 0;
        asked.isUpgrade = websocket::is_upgrade(request);
        asked.hasBody = !request.body().empty();
        switch (m_owner.rules().judge(asked)) {
        case RequestRules::Answer::Data: {
            auto page =
                std::make_shared<PageConnection<Protocol, Owner>>(std::move(m_stream), m_owner);
            page->start(request);
            return;
        }
        case RequestRules::Answer::Page: {
            const PageFile& file = *findPageFile(asked.target);
            answer(http::status::ok, file.type, file.text(), request.keep_alive());
            return;
        }
        case RequestRules::Answer::NotFound:
            answer(http::status::not_found, kPlain, "nothing is here\n", request.keep_alive());
            return;
        case RequestRules::Answer::NotAllowed:
            answer(http::status::method_not_allowed, kPlain, "pages are read only\n", false);
            return;
        case RequestRules::Answer::Refused:
            break;
        }
        answer(http::status::forbidden, kPlain, "this is not for you\n", false);
    }

    void answer(http::status status, std::string_view type, std::string_view text, bool goesOn)
    {
        auto response = std::make_shared<http::response<http::string_body>>(status, 11);
        const auto set = [&](beast::string_view name, std::string_view value) {
            response->set(name, beast::string_view(value.data(), value.size()));
        };
        set("Content-Type", type);
        // Nothing from elsewhere, nothing in frames, nothing kept.
        set("Content-Security-Policy",
            "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data: blob:; "
            "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
        set("X-Content-Type-Options", "nosniff");
        set("X-Frame-Options", "DENY");
        set("Referrer-Policy", "no-referrer");
        set("Cross-Origin-Resource-Policy", "same-origin");
        set("Cross-Origin-Opener-Policy", "same-origin");
        set("Cache-Control", "no-store");
        response->keep_alive(goesOn);
        response->body() = std::string(text);
        response->prepare_payload();
        http::async_write(
            m_stream, *response,
            [self = this->shared_from_this(), response, goesOn](error_code error, std::size_t) {
                if (!error && goesOn) {
                    self->read();
                } else {
                    self->close();
                }
            });
    }

    void close()
    {
        error_code ignored;
        m_stream.socket().shutdown(Protocol::socket::shutdown_send, ignored);
    }

    static constexpr std::string_view kPlain = "text/plain; charset=utf-8";

    Stream m_stream;
    Owner& m_owner;
    Connected<Owner> m_connected;
    beast::flat_buffer m_buffer;
    std::optional<http::request_parser<http::string_body>> m_parser;
};

/// A program that drives the page, by lines of JSON in the words of the waveform control protocol.
template <typename Owner>
class ControlConnection : public Page, public std::enable_shared_from_this<ControlConnection<Owner>>
{
public:
    ControlConnection(asio::ip::tcp::socket&& socket, Owner& owner)
        : m_socket(std::move(socket)), m_owner(owner), m_connected(owner)
    {}
    ~ControlConnection() override { m_owner.removeProgram(m_number); }

    void start()
    {
        m_number = m_owner.addProgram(this->weak_from_this());
        say({{"type", "greeting"},
             {"version", "0"},
             {"commands",
              {"get_item_list", "get_item_info", "add_variables", "add_scope", "add_items",
               "remove_items", "clear", "set_item_color", "focus_item", "add_markers", "set_cursor",
               "cursor_set", "set_viewport_to", "set_viewport_range", "zoom_to_fit"}}});
        read();
    }

    void send(PageMessage message) override
    {
        m_outgoing.push_back(std::move(message.bytes) + "\n");
        if (m_outgoing.size() == 1) {
            write();
        }
    }
    void close() override
    {
        error_code ignored;
        m_socket.close(ignored);
    }

private:
    void say(const nlohmann::json& json)
    {
        send({json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), true});
    }

    void read()
    {
        m_socket.async_read_some(asio::buffer(m_piece), [self = this->shared_from_this()](
                                                            error_code error, std::size_t size) {
            if (!error) {
                self->take({self->m_piece.data(), size});
            }
        });
    }

    /// Some programs end a message with a zero and not with a line.
    void take(std::string_view piece)
    {
        for (const char c : piece) {
            if (c != '\n' && c != '\0') {
                m_line += c;
                continue;
            }
            if (!m_line.empty()) {
                obey(m_line);
            }
            m_line.clear();
        }
        if (m_line.size() > kLongestMessage || m_outgoing.size() > kMostOutgoing) {
            close();
            return;
        }
        read();
    }

    void obey(const std::string& line)
    {
        const nlohmann::json json = nlohmann::json::parse(line, nullptr, false);
        const std::string type =
            json.is_object() && json.contains("type") && json["type"].is_string()
                ? json["type"].get<std::string>()
                : std::string();
        if (type == "greeting") {
            return;
        }
        if (type != "command") {
            refuse("no message of the protocol", line);
        } else if (!m_owner.control(m_number, json)) {
            refuse("no page is open", line);
        }
    }

    void refuse(const char* why, const std::string& line)
    {
        say({{"type", "error"}, {"error", why}, {"arguments", {line}}, {"message", why}});
    }

    void write()
    {
        asio::async_write(m_socket, asio::buffer(m_outgoing.front()),
                          [self = this->shared_from_this()](error_code error, std::size_t) {
                              if (error) {
                                  return;
                              }
                              self->m_outgoing.pop_front();
                              if (!self->m_outgoing.empty()) {
                                  self->write();
                              }
                          });
    }

    static constexpr std::size_t kMostOutgoing = 1000;

    asio::ip::tcp::socket m_socket;
    Owner& m_owner;
    Connected<Owner> m_connected;
    std::array<char, 4096> m_piece{};
    std::string m_line;
    std::deque<std::string> m_outgoing;
    std::uint64_t m_number = 0;
};

} // namespace

ViewServer::Implementation::Implementation(const ViewServerOptions& options, ViewAnswers& answers)
    : m_socket(options.socket), m_endAfter(options.endAfter), m_signals(m_context),
      m_alone(m_context)
{
    error_code error;
    if (m_socket.empty()) {
        m_port.emplace(m_context);
        const asio::ip::tcp::endpoint place(asio::ip::address_v4::loopback(), options.port);
        m_port->open(place.protocol(), error);
        if (!error) {
            m_port->set_option(asio::ip::tcp::acceptor::reuse_address(true), error);
            m_port->bind(place, error);
        }
        if (!error) {
            m_port->listen(asio::socket_base::max_listen_connections, error);
        }
        if (error) {
            throw Failure(fmt::format("port {} of 127.0.0.1: {}; choose another --port, or none "
                                      "for a free one",
                                      options.port, error.message()));
        }
        m_rules = RequestRules(m_port->local_endpoint().port());
    } else {
        m_local.emplace(m_context);
        asio::local::stream_protocol::endpoint place;
        try {
            place.path(m_socket);
        } catch (const boost::system::system_error& e) {
            throw Failure(fmt::format("{}: {}; choose a shorter path for --socket", m_socket,
                                      e.code().message()));
        }
        m_local->open(place.protocol(), error);
        if (!error) {
            // Nobody else may connect, from the first moment on.
            const mode_t before = ::umask(0177);
            m_local->bind(place, error);
            ::umask(before);
        }
        if (!error) {
            m_local->listen(asio::socket_base::max_listen_connections, error);
        }
        if (error) {
            throw Failure(fmt::format("{}: no socket can be made there: {}; remove what is there, "
                                      "or choose another place",
                                      m_socket, error.message()));
        }
    }
    if (options.control != 0) {
        m_control.emplace(m_context);
        const asio::ip::tcp::endpoint place(asio::ip::address_v4::loopback(), options.control);
        m_control->open(place.protocol(), error);
        m_control->set_option(asio::ip::tcp::acceptor::reuse_address(true), error);
        m_control->bind(place, error);
        if (!error) {
            m_control->listen(asio::socket_base::max_listen_connections, error);
        }
        if (error) {
            throw Failure(fmt::format("port {} of 127.0.0.1: {}; choose another one for --control",
                                      options.control, error.message()));
        }
    }
    m_queue.emplace(answers, [this](const std::string& text) {
        asio::post(m_context, [this, text] { broadcast(text); });
    });
}

ViewServer::Implementation::~Implementation()
{
    m_isEnding = true;
    m_queue.reset();
    if (m_local) {
        ::unlink(m_socket.c_str());
    }
}

std::string ViewServer::Implementation::address() const
{
    return m_port ? fmt::format("http://127.0.0.1:{}/#token={}", m_port->local_endpoint().port(),
                                m_token.text())
                  : fmt::format("http://localhost:PORT/#token={}", m_token.text());
}

template <typename Acceptor> void ViewServer::Implementation::accept(Acceptor& acceptor)
{
    using Protocol = typename Acceptor::protocol_type;
    acceptor.async_accept([this, &acceptor](error_code error, typename Protocol::socket socket) {
        if (!error && mayConnect()) {
            if constexpr (std::is_same_v<Protocol, asio::ip::tcp>) {
                // An answer is worth its packet.
                error_code ignored;
                socket.set_option(asio::ip::tcp::no_delay(true), ignored);
            }
            std::make_shared<HttpConnection<Protocol, Implementation>>(
                beast::basic_stream<Protocol>(std::move(socket)), *this)
                ->read();
        }
        if (error != asio::error::operation_aborted) {
            accept(acceptor);
        }
    });
}

void ViewServer::Implementation::run()
{
    m_signals.add(SIGINT);
    m_signals.add(SIGTERM);
    m_signals.add(SIGHUP);
    m_signals.async_wait([this](error_code error, int) {
        if (!error) {
            m_context.stop();
        }
    });
    if (m_port) {
        accept(*m_port);
    } else {
        accept(*m_local);
    }
    if (m_control) {
        acceptControl();
    }
    m_context.run();
}

void ViewServer::Implementation::acceptControl()
{
    m_control->async_accept([this](error_code error, asio::ip::tcp::socket socket) {
        if (!error && mayConnect()) {
            std::make_shared<ControlConnection<Implementation>>(std::move(socket), *this)->start();
        }
        if (error != asio::error::operation_aborted) {
            acceptControl();
        }
    });
}

std::uint64_t ViewServer::Implementation::addProgram(const std::weak_ptr<Page>& program)
{
    m_programs.emplace(++m_lastPage, program);
    return m_lastPage;
}

bool ViewServer::Implementation::control(std::uint64_t program, const nlohmann::json& command)
{
    const auto page = m_pages.empty() ? nullptr : m_pages.rbegin()->second.lock();
    if (!page) {
        return false;
    }
    const nlohmann::json message = {{"control", command}, {"program", program}};
    page->send({message.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), true});
    return true;
}

void ViewServer::Implementation::controlled(const nlohmann::json& answer)
{
    if (!answer.is_object() || !answer.contains("program") || !answer.contains("controlled") ||
        !answer["program"].is_number_unsigned()) {
        return;
    }
    const auto found = m_programs.find(answer["program"].get<std::uint64_t>());
    const auto program = found == m_programs.end() ? nullptr : found->second.lock();
    if (program) {
        program->send(
            {answer["controlled"].dump(-1, ' ', false, nlohmann::json::error_handler_t::replace),
             true});
    }
}

std::uint64_t ViewServer::Implementation::addPage(const std::weak_ptr<Page>& page)
{
    if (m_pages.size() >= kMostPages) {
        return 0;
    }
    m_alone.cancel();
    m_pages.emplace(++m_lastPage, page);
    return m_lastPage;
}

void ViewServer::Implementation::removePage(std::uint64_t number)
{
    m_pages.erase(number);
    if (m_isEnding) {
        return;
    }
    m_queue->forget(number);
    if (m_pages.empty()) {
        endWhenAlone();
    }
}

void ViewServer::Implementation::endWhenAlone()
{
    if (m_endAfter < 0) {
        return;
    }
    m_alone.expires_after(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(m_endAfter)));
    m_alone.async_wait([this](error_code error) {
        if (!error && m_pages.empty()) {
            m_context.stop();
        }
    });
}

void ViewServer::Implementation::deliver(std::uint64_t number, PageMessage message)
{
    asio::post(m_context, [this, number, message = std::move(message)]() mutable {
        const auto found = m_pages.find(number);
        if (found != m_pages.end()) {
            if (const auto page = found->second.lock()) {
                page->send(std::move(message));
            }
        }
    });
}

void ViewServer::Implementation::broadcast(const std::string& text)
{
    for (const auto& [number, known] : m_pages) {
        if (const auto page = known.lock()) {
            page->send({text, true});
        }
    }
}

ViewServer::ViewServer(const ViewServerOptions& options, ViewAnswers& answers)
    : m_implementation(std::make_unique<Implementation>(options, answers))
{}

ViewServer::~ViewServer() = default;

std::string ViewServer::address() const
{
    return m_implementation->address();
}

void ViewServer::run()
{
    m_implementation->run();
}

} // namespace tracewell
