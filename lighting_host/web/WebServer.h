#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace boost::asio
{
class io_context;
}

namespace lighting_host
{
// HTTP and WebSocket for one house, behind a plain interface: who uses it compiles no network
// library.
//
// Everything happens on the thread that runs the io_context, handlers included. Whoever connects is
// held to limits: of headers, bodies, messages, connections and time.

// One HTTP request that was let in.
struct WebRequest
{
    // "GET", "HEAD" or "POST"; others are answered before anybody sees them.
    std::string method;
    // Decoded, without the query: "/api/house".
    std::string path;
    std::map<std::string, std::string> query;
    std::string body;
    // Whether the token was shown, or none is demanded. Without it only the paths of
    // WebServerOptions::openPaths come this far.
    bool hasToken = true;
};

struct WebResponse
{
    unsigned status = 200;
    std::string contentType = "text/plain; charset=utf-8";
    std::string body;
    // Further header fields.
    std::vector<std::pair<std::string, std::string>> headers;
};

// A connected WebSocket, as its visitor uses it. Valid as long as the visitor.
class WebSocketPeer
{
public:
    virtual ~WebSocketPeer() = default;

    // There may be something to send: the visitor's Collect is asked soon, never inside this call.
    // Cheap; may be called for every output.
    virtual void Wake() = 0;

    // Ends the connection with a code of RFC 6455 and a reason of at most 123 octets. The visitor
    // is destroyed later, never inside this call. A peer that reads nothing is cut off soon; code
    // and reason wait for it in the system, behind the message that was under way, should it read
    // on.
    virtual void Close(unsigned code, const std::string& reason) = 0;
};

// What stands behind a WebSocket. Destroyed when the connection ends, for whatever reason.
class WebVisitor
{
public:
    virtual ~WebVisitor() = default;

    // Called for each text message. May call Wake and Close.
    virtual void OnMessage(const std::string& text) = 0;

    // Called when the connection can take more: the next whole lines, about `mostBytes` of them at
    // the most; null for none. Visitors who hear the same may give the same text, so that it is
    // made once. Not called while a message is still on its way, so a peer that does not read costs
    // no memory here.
    virtual std::shared_ptr<const std::string> Collect(std::size_t mostBytes) = 0;

    // Called when the peer has answered nothing for WebServerOptions::idleTime, not even a ping; it
    // is cut off after that.
    virtual void OnNoAnswer() {}
};

// Who answers. Must outlive the server; called on its thread; what it throws becomes status 500.
class WebHandler
{
public:
    virtual ~WebHandler() = default;
    virtual WebResponse OnRequest(const WebRequest& request) = 0;

    // The page for a person who has shown no token; it is sent with status 401.
    virtual WebResponse OnTokenMissing(const WebRequest& request) = 0;

    // Whether a WebSocket is offered at request.path; otherwise it is refused with 404.
    virtual bool HasWebSocket(const WebRequest& request) const = 0;

    // A WebSocket is opened there. Never null; `peer` outlives the visitor.
    virtual std::unique_ptr<WebVisitor> OnWebSocket(const WebRequest& request,
                                                    WebSocketPeer& peer) = 0;
};

struct WebServerOptions
{
    // An address, not a name; port 0 takes a free one.
    std::string address = "127.0.0.1";
    std::uint16_t port = 8080;
    // Whether it listens there at all; else only Serve brings connections, as in tests.
    bool listens = true;
    // What has to be shown, in "Authorization: Bearer TOKEN" or in the cookie TOKEN_COOKIE; empty
    // for nothing. Demanded on any address but loopback.
    std::string token;
    // Paths that need no token: those of the page that asks for it.
    std::vector<std::string> openPaths;
    // Names that a request's Host may have, beside localhost and addresses.
    std::vector<std::string> hosts;

    std::size_t mostConnections = 1024;
    std::size_t mostHeaderBytes = 8 * 1024;
    // Of a body, and of a WebSocket message.
    std::size_t mostBodyBytes = 64 * 1024;
    // How long a request may take to arrive, and how long a connection may be idle between two.
    std::chrono::milliseconds requestTime{10000};
    std::chrono::milliseconds idleTime{60000};
    // The shortest time between two messages to a visitor, so that many visitors cost little. All
    // who have something to hear get it at the same moments.
    unsigned gatherMs = 20;
};

// The cookie in which a page shows the token.
constexpr const char* TOKEN_COOKIE = "lighting_token";

// The server cannot listen: why, in words.
class WebServerError : public std::runtime_error
{
    using std::runtime_error::runtime_error;
};

class WebServer
{
public:
    struct Counts
    {
        std::uint64_t requests = 0;
        // Requests and connections that were refused, by limits or for want of a token.
        std::uint64_t refused = 0;
        std::size_t connections = 0;
    };

    // Listens; serves as soon as the context runs. Throws WebServerError when the address is none,
    // the port is in use or may not be used, or a token is missing.
    WebServer(boost::asio::io_context& context, const WebServerOptions& options,
              WebHandler& handler);
    // Cuts off what is still connected.
    ~WebServer();
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    // The port that it listens on.
    std::uint16_t Port() const;

    // Takes no new connections and ends the present ones with a reason; what was collected before
    // is sent first to those who read.
    void Close(const std::string& reason);

    // Serves a connected socket as if it had been accepted; for tests. Owns `descriptor`.
    void Serve(int descriptor);

    const Counts& GetCounts() const;

    // Internal.
    class Impl;

private:
    std::shared_ptr<Impl> m_impl;
};
} // namespace lighting_host
