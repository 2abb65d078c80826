// SPDX-License-Identifier: BSD-3-Clause

#include "testing/TestFiles.h"

#include "view/ViewAnswers.h"
#include "view/ViewServer.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace tracewell {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using Tcp = asio::ip::tcp;
using Json = nlohmann::json;
using ::testing::HasSubstr;

/// A server with a small run, in a thread of this process.
class Server : public ::testing::Test
{
protected:
    void serve(const ViewServerOptions& options = {})
    {
        Tracewell::writeFile(m_directory.path("run.vcd"),
                             "$scope module top $end\n$var wire 1 ! clk $end\n$upscope $end\n"
                             "$enddefinitions $end\n#0\n0!\n#10\n1!\n#20\n");
        std::vector<std::unique_ptr<ViewedRun>> runs;
        runs.push_back(std::make_unique<ViewedRun>(
            "run.vcd", std::make_unique<FileSource>(m_directory.path("run.vcd"), Reach::Whole)));
        m_answers = std::make_unique<ViewAnswers>(std::move(runs), SessionFile(""), nullptr);
        m_server = std::make_unique<ViewServer>(options, *m_answers);
        const std::string address = m_server->address();
        const std::size_t token = address.find("/#token=");
        m_token = address.substr(token + 8);
        m_host = address.substr(7, token - 7);
        m_port = m_host.substr(m_host.find(':') + 1);
        m_thread = std::thread([this] { m_server->run(); });
    }
    ~Server() override
    {
        if (m_thread.joinable()) {
            ::raise(SIGTERM);
            m_thread.join();
        }
    }

    Tcp::socket connect()
    {
        Tcp::socket socket(m_context);
        socket.connect(
            {asio::ip::address_v4::loopback(), static_cast<unsigned short>(std::stoi(m_port))});
        return socket;
    }

    /// Whatever comes back, up to the end.
    std::string exchange(const std::string& request)
    {
        Tcp::socket socket = connect();
        boost::system::error_code error;
        asio::write(socket, asio::buffer(request), error);
        std::string answer;
        asio::read(socket, asio::dynamic_buffer(answer), error);
        return answer;
    }

    using Page = websocket::stream<Tcp::socket>;

    std::unique_ptr<Page> open(const std::string& token)
    {
        auto page = std::make_unique<Page>(connect());
        page->set_option(
            websocket::stream_base::decorator([this](websocket::request_type& request) {
                request.set(http::field::origin, "http://" + m_host);
            }));
        page->handshake(m_host, "/data");
        page->write(asio::buffer(Json{{"token", token}}.dump()));
        return page;
    }
    static std::string ask(Page& page, const std::string& request)
    {
        page.write(asio::buffer(request));
        beast::flat_buffer buffer;
        page.read(buffer);
        return beast::buffers_to_string(buffer.data());
    }

    Tracewell::TestDirectory m_directory;
    asio::io_context m_context;
    std::unique_ptr<ViewAnswers> m_answers;
    std::unique_ptr<ViewServer> m_server;
    std::thread m_thread;
    std::string m_host;
    std::string m_port;
    std::string m_token;
};

TEST_F(Server, givesThePageWithNothingFromElsewhere)
{
    serve();
    const std::string answer =
        exchange("GET / HTTP/1.1\r\nHost: " + m_host + "\r\nConnection: close\r\n\r\n");
    EXPECT_THAT(answer, HasSubstr("HTTP/1.1 200"));
    EXPECT_THAT(answer, HasSubstr("default-src 'none'"));
    EXPECT_THAT(answer, HasSubstr("frame-ancestors 'none'"));
    EXPECT_THAT(answer, HasSubstr("nosniff"));
    EXPECT_EQ(answer.find("Access-Control"), std::string::npos);
    EXPECT_EQ(answer.find(m_token), std::string::npos);
    const std::string body = answer.substr(answer.find("\r\n\r\n"));
    EXPECT_EQ(body.find("http"), std::string::npos);
    EXPECT_THAT(exchange("GET / HTTP/1.1\r\nHost: evil.example\r\n\r\n"), HasSubstr(" 403 "));
    EXPECT_THAT(exchange("GET / HTTP/1.1\r\n\r\n"), HasSubstr(" 403 "));
    EXPECT_THAT(exchange("GET / HTTP/1.1\r\nHost: " + m_host + "\r\nHost: x\r\n\r\n"),
                HasSubstr(" 403 "));
    EXPECT_THAT(exchange("POST / HTTP/1.1\r\nHost: " + m_host + "\r\nContent-Length: 2\r\n\r\nab"),
                HasSubstr("HTTP/1.1 4"));
    EXPECT_THAT(exchange("GET /" + std::string(20000, 'a') + " HTTP/1.1\r\n\r\n"),
                HasSubstr(" 400 "));
    EXPECT_THAT(exchange("\x16\x03\x01\x02 no request at all\r\n\r\n"), HasSubstr(" 400 "));
}

TEST_F(Server, servesWhoShowsTheTokenAndNobodyElse)
{
    serve();
    const auto page = open(m_token);
    EXPECT_THAT(ask(*page, R"({"ask":"hello","id":1})"), HasSubstr("\"latest\":\"20\""));
    EXPECT_THAT(ask(*page, "rubbish"), HasSubstr("error"));
    for (const std::string& token :
         {std::string(), std::string(32, '0'), m_token.substr(1), m_token + "0"}) {
        const auto other = open(token);
        beast::flat_buffer buffer;
        boost::system::error_code error;
        other->read(buffer, error);
        EXPECT_TRUE(error) << token;
    }
    Page foreign(connect());
    foreign.set_option(websocket::stream_base::decorator([](websocket::request_type& request) {
        request.set(http::field::origin, "http://evil.example");
    }));
    boost::system::error_code error;
    foreign.handshake(m_host, "/data", error);
    EXPECT_TRUE(error);
    EXPECT_THAT(ask(*page, R"({"ask":"hello","id":2})"), HasSubstr("\"id\":2"));
}

TEST_F(Server, livesThroughManyPagesAndFramesOfRubbish)
{
    serve();
    std::vector<std::unique_ptr<Page>> pages;
    for (int i = 0; i < 90; ++i) {
        pages.push_back(open(m_token));
        EXPECT_THAT(ask(*pages.back(), R"({"ask":"hello","id":3})"), HasSubstr("\"id\":3"));
    }
    pages.clear();
    std::mt19937 random(4);
    for (int i = 0; i < 50; ++i) {
        const auto page = open(m_token);
        std::string bytes(1 + random() % 200, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        boost::system::error_code error;
        asio::write(page->next_layer(), asio::buffer(bytes), error);
    }
    const auto page = open(m_token);
    boost::system::error_code error;
    page->write(asio::buffer(std::string(8 << 20, ' ')), error);
    EXPECT_THAT(ask(*open(m_token), R"({"ask":"hello","id":4})"), HasSubstr("\"id\":4"));
}

TEST_F(Server, aSocketOfTheFileSystemIsForThisUser)
{
    ViewServerOptions options;
    options.socket = m_directory.path("view");
    serve(options);
    struct stat status = {};
    ASSERT_EQ(::stat(options.socket.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    asio::local::stream_protocol::socket socket(m_context);
    socket.connect(options.socket);
    asio::write(socket,
                asio::buffer(std::string(
                    "GET / HTTP/1.1\r\nHost: localhost:8080\r\nConnection: close\r\n\r\n")));
    std::string answer;
    boost::system::error_code error;
    asio::read(socket, asio::dynamic_buffer(answer), error);
    EXPECT_THAT(answer, HasSubstr("HTTP/1.1 200"));
    ::raise(SIGTERM);
    m_thread.join();
    m_server.reset();
    EXPECT_NE(::stat(options.socket.c_str(), &status), 0);
}

} // namespace
} // namespace tracewell
