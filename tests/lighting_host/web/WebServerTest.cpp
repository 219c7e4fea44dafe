#include "lighting_host/web/WebServer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace lighting_host;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace
{
constexpr const char* UPGRADE =
    "GET /protocol HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
    "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n";

class Visitor : public WebVisitor
{
public:
    explicit Visitor(std::vector<std::string>& messages) : m_messages(messages) {}
    void OnMessage(const std::string& text) override
    {
        m_messages.push_back(text);
        m_waiting = "you said " + text;
    }
    std::shared_ptr<const std::string> Collect(std::size_t) override
    {
        if (m_waiting.empty())
            return nullptr;
        auto text = std::make_shared<const std::string>(m_waiting);
        m_waiting.clear();
        return text;
    }

private:
    std::vector<std::string>& m_messages;
    std::string m_waiting;
};

// Has always something to say.
class Talker : public WebVisitor
{
public:
    void OnMessage(const std::string&) override {}
    std::shared_ptr<const std::string> Collect(std::size_t mostBytes) override
    {
        return std::make_shared<const std::string>(mostBytes, 'x');
    }
};

class Handler : public WebHandler
{
public:
    WebResponse OnRequest(const WebRequest& request) override
    {
        requests.push_back(request.method + " " + request.path + " " + request.body);
        WebResponse response;
        response.body = "here you are";
        return response;
    }
    WebResponse OnTokenMissing(const WebRequest&) override { return {}; }
    bool HasWebSocket(const WebRequest& request) const override
    {
        return request.path == "/protocol";
    }
    std::unique_ptr<WebVisitor> OnWebSocket(const WebRequest&, WebSocketPeer& connected) override
    {
        peer = &connected;
        if (talks)
            return std::make_unique<Talker>();
        return std::make_unique<Visitor>(messages);
    }

    std::vector<std::string> requests;
    std::vector<std::string> messages;
    bool talks = false;
    WebSocketPeer* peer = nullptr;
};
} // namespace

// A server and one end of a connection to it, without a network.
class WebServerTest : public testing::Test
{
protected:
    WebServerTest()
    {
        m_options.port = 0;
        m_options.gatherMs = 0;
        m_options.mostHeaderBytes = 1024;
        m_options.mostBodyBytes = 1024;
    }
    ~WebServerTest() override
    {
        if (m_end >= 0)
            close(m_end);
    }

    void Connect()
    {
        if (!m_server)
            m_server = std::make_unique<WebServer>(m_context, m_options, m_handler);
        int ends[2] = {-1, -1};
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
        m_server->Serve(ends[0]);
        m_end = ends[1];
    }

    // Sends, lets the server work, and returns what has come back.
    std::string Say(const std::string& text)
    {
        EXPECT_EQ(write(m_end, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        return Hear();
    }

    // The same to somebody who may have hung up.
    void Drip(const std::string& text)
    {
        (void)send(m_end, text.data(), text.size(), MSG_NOSIGNAL);
    }

    void Work()
    {
        m_context.restart();
        m_context.poll();
    }

    std::string Hear()
    {
        std::string heard;
        for (int i = 0; i < 20; ++i)
        {
            Work();
            char buffer[65536];
            const ssize_t got = read(m_end, buffer, sizeof buffer);
            if (got > 0)
                heard.append(buffer, static_cast<std::size_t>(got));
            m_isClosed = m_isClosed || got == 0;
        }
        return heard;
    }

    boost::asio::io_context m_context{1};
    WebServerOptions m_options;
    Handler m_handler;
    std::unique_ptr<WebServer> m_server;
    int m_end = -1;
    bool m_isClosed = false;
};

TEST_F(WebServerTest, Request_IsAnsweredWithAStrictPolicy)
{
    Connect();
    const std::string answer = Say("GET /a%20b?x=1 HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(answer, HasSubstr("here you are"));
    EXPECT_THAT(answer, HasSubstr("Content-Security-Policy: default-src 'self'"));
    EXPECT_THAT(m_handler.requests, testing::ElementsAre("GET /a b "));
}

TEST_F(WebServerTest, TwoRequestsInOneWrite_AreAnsweredInOrder)
{
    Connect();
    Say("GET /1 HTTP/1.1\r\nHost: localhost\r\n\r\nGET /2 HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(m_handler.requests, testing::ElementsAre("GET /1 ", "GET /2 "));
}

TEST_F(WebServerTest, HalfARequest_WaitsForItsEnd)
{
    Connect();
    EXPECT_THAT(Say("POST /in HTTP/1.1\r\nHost: localhost\r\nContent-Le"), IsEmpty());
    EXPECT_THAT(Say("ngth: 5\r\n\r\nab"), IsEmpty());
    EXPECT_THAT(Say("cde"), StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(m_handler.requests, testing::ElementsAre("POST /in abcde"));
}

TEST_F(WebServerTest, StrangersNames_AreRefused)
{
    Connect();
    EXPECT_THAT(Say("GET / HTTP/1.1\r\nHost: evil.example\r\n\r\n"), StartsWith("HTTP/1.1 421"));
    EXPECT_THAT(m_handler.requests, IsEmpty());
}

TEST_F(WebServerTest, PageOfAnotherOrigin_IsRefused)
{
    Connect();
    EXPECT_THAT(Say("POST /api/input HTTP/1.1\r\nHost: localhost\r\nOrigin: http://evil.example\r\n"
                    "Content-Length: 2\r\n\r\n{}"),
                StartsWith("HTTP/1.1 403"));
    EXPECT_THAT(m_handler.requests, IsEmpty());
}

TEST_F(WebServerTest, HeadersWithoutEnd_AreCutOff)
{
    Connect();
    EXPECT_THAT(Say("GET / HTTP/1.1\r\nX: " + std::string(4000, 'x')), StartsWith("HTTP/1.1 431"));
    EXPECT_TRUE(m_isClosed);
}

TEST_F(WebServerTest, HeadersThatComeOctetByOctet_AreCutOffInTime)
{
    m_options.requestTime = std::chrono::milliseconds(100);
    Connect();
    for (int i = 0; i < 1000 && !m_isClosed; ++i)
    {
        Drip("x");
        m_context.run_for(std::chrono::milliseconds(5));
        Hear();
    }
    EXPECT_TRUE(m_isClosed);
    EXPECT_THAT(m_handler.requests, IsEmpty());
}

TEST_F(WebServerTest, BodyWithoutEnd_IsCutOffInTime)
{
    m_options.requestTime = std::chrono::milliseconds(100);
    Connect();
    Say("POST / HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n");
    for (int i = 0; i < 1000 && !m_isClosed; ++i)
    {
        Drip("1\r\nx\r\n");
        m_context.run_for(std::chrono::milliseconds(5));
        Hear();
    }
    EXPECT_TRUE(m_isClosed);
    EXPECT_THAT(m_handler.requests, IsEmpty());
}

TEST_F(WebServerTest, ConnectionPastTheLimit_IsToldSo)
{
    m_options.mostConnections = 1;
    Connect();
    EXPECT_THAT(Hear(), IsEmpty());
    const int first = m_end;
    Connect();
    EXPECT_THAT(Hear(), StartsWith("HTTP/1.1 503"));
    close(first);
}

TEST_F(WebServerTest, BodyThatIsTooLong_IsRefused)
{
    Connect();
    EXPECT_THAT(Say("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 5000\r\n\r\n"),
                StartsWith("HTTP/1.1 413"));
    EXPECT_THAT(m_handler.requests, IsEmpty());
}

TEST_F(WebServerTest, WhatIsNoHttp_IsRefused)
{
    Connect();
    EXPECT_THAT(Say("nonsense\r\n\r\n"), StartsWith("HTTP/1.1 400"));
    EXPECT_TRUE(m_isClosed);
}

TEST_F(WebServerTest, OtherMethods_AreRefused)
{
    Connect();
    EXPECT_THAT(Say("DELETE / HTTP/1.1\r\nHost: localhost\r\n\r\n"), StartsWith("HTTP/1.1 405"));
}

TEST_F(WebServerTest, WithoutTheToken_OnlyOpenPathsAreServed)
{
    m_options.token = "0123456789abcdef";
    m_options.openPaths = {"/style.css"};
    Connect();
    EXPECT_THAT(Say("GET /api/house HTTP/1.1\r\nHost: localhost\r\n\r\n"),
                StartsWith("HTTP/1.1 401"));
    EXPECT_THAT(Say("GET /style.css HTTP/1.1\r\nHost: localhost\r\n\r\n"),
                StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(Say("GET /api/house HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer "
                    "0123456789abcdef\r\n\r\n"),
                StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(Say("GET /api/house HTTP/1.1\r\nHost: localhost\r\nCookie: "
                    "lighting_token=0123456789abcdef\r\n\r\n"),
                StartsWith("HTTP/1.1 200"));
    EXPECT_EQ(m_handler.requests.size(), 3u);
}

TEST_F(WebServerTest, WebSocket_TakesAMessageAndAnswers)
{
    Connect();
    const std::string answer = Say(UPGRADE);
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 101"));
    // "hi", masked with zeros.
    const std::string back = Say(std::string("\x81\x82\0\0\0\0hi", 8));
    EXPECT_THAT(m_handler.messages, testing::ElementsAre("hi"));
    EXPECT_THAT(back + Hear(), HasSubstr("you said hi"));
}

TEST_F(WebServerTest, VisitorThatIsDroppedWhileItDoesNotRead_FindsTheReasonWhenItReadsOn)
{
    m_handler.talks = true;
    Connect();
    EXPECT_THAT(Say(UPGRADE), HasSubstr("101 Switching Protocols"));
    // Nobody reads: a message is stuck half way.
    for (int turn = 0; turn < 100; ++turn)
        Work();
    m_handler.peer->Close(1013, "too slow: 9 lines behind");
    for (int turn = 0; turn < 100; ++turn)
        Work();
    m_server.reset();
    std::string heard;
    for (std::string more = Hear(); !more.empty(); more = Hear())
        heard += more;
    EXPECT_THAT(heard, testing::EndsWith("\x88\x1a\x03\xf5too slow: 9 lines behind"));
}

TEST_F(WebServerTest, WebSocketElsewhere_IsRefused)
{
    Connect();
    EXPECT_THAT(Say("GET /other HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: "
                    "Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
                    "Sec-WebSocket-Version: 13\r\n\r\n"),
                StartsWith("HTTP/1.1 404"));
}

TEST_F(WebServerTest, AddressOfOthersWithoutAToken_IsAnError)
{
    m_options.address = "0.0.0.0";
    EXPECT_THROW(WebServer(m_context, m_options, m_handler), WebServerError);
    m_options.address = "nonsense";
    EXPECT_THROW(WebServer(m_context, m_options, m_handler), WebServerError);
}

TEST_F(WebServerTest, PortInUse_IsAnError)
{
    const WebServer first(m_context, m_options, m_handler);
    m_options.port = first.Port();
    EXPECT_NE(m_options.port, 0);
    EXPECT_THROW(WebServer(m_context, m_options, m_handler), WebServerError);
}
