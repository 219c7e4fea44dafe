#include "lighting_host/web/WebServer.h"

#include "lighting_host/web/HostCheck.h"
#include "lighting_host/web/MessageMoments.h"

#include <algorithm>
#include <chrono>
#include <set>

#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <fmt/format.h>

namespace lighting_host
{
namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using boost::system::error_code;

namespace
{
// Any kind: a test hands in one end of a pair.
using Protocol = asio::generic::stream_protocol;
using Stream = beast::basic_stream<Protocol>;
using Request = http::request<http::string_body>;
using Response = http::response<http::string_body>;
// Messages are short and seldom leave the machine: they are not compressed.
using Socket = websocket::stream<Stream, false>;

constexpr std::size_t MOST_MESSAGE_BYTES = 64 * 1024;
// The last word to whoever is cut off: who reads gets it, the others are not waited for.
constexpr std::chrono::seconds LAST_WORD_TIME{2};
// How much may wait in the system for a visitor that does not read; and with a last word as well.
constexpr int MOST_UNREAD_BYTES = 32 * 1024;
constexpr int MOST_UNREAD_AT_END_BYTES = 208 * 1024;

// What every answer says: nothing of another origin is loaded, nothing is framed or guessed.
void SetSecurityFields(Response& response)
{
    response.set("Content-Security-Policy",
                 "default-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'");
    response.set("X-Content-Type-Options", "nosniff");
    response.set("Referrer-Policy", "no-referrer");
    response.set("Cross-Origin-Resource-Policy", "same-origin");
    response.set(http::field::cache_control, "no-store");
}
} // namespace

class WebServer::Impl : public std::enable_shared_from_this<WebServer::Impl>
{
public:
    // Something that is connected, in the one form or the other.
    class Connection
    {
    public:
        virtual ~Connection() = default;
        // Says why where that is possible, and ends it soon.
        virtual void End(const std::string& reason) = 0;
        // Ends it at once; nobody of this program is called any more. Not inside a call of its own.
        virtual void Cut() = 0;
    };

    Impl(asio::io_context& context, const WebServerOptions& options, WebHandler& handler)
        : m_context(context), m_options(options), m_handler(handler), m_acceptor(context),
          m_pause(context), m_moments(context, std::chrono::milliseconds(options.gatherMs))
    {
    }

    void Listen();
    void Serve(int descriptor);
    void Close(const std::string& reason);
    void CutAll();
    std::uint16_t Port() const { return m_acceptor.local_endpoint().port(); }

    void Add(const std::shared_ptr<Connection>& connection)
    {
        m_connections.insert(connection);
        counts.connections = m_connections.size();
    }

    void Remove(const std::shared_ptr<Connection>& connection)
    {
        m_connections.erase(connection);
        counts.connections = m_connections.size();
    }

    asio::io_context& Context() { return m_context; }
    const WebServerOptions& Options() const { return m_options; }
    WebHandler& Handler() { return m_handler; }
    MessageMoments& Moments() { return m_moments; }
    bool IsClosed() const { return m_closed; }

    Counts counts;

private:
    void Accept();
    void Start(Protocol::socket socket);

    asio::io_context& m_context;
    const WebServerOptions m_options;
    WebHandler& m_handler;
    asio::ip::tcp::acceptor m_acceptor;
    asio::steady_timer m_pause;
    MessageMoments m_moments;
    std::set<std::shared_ptr<Connection>> m_connections;
    bool m_closed = false;
};

namespace
{
// One WebSocket: reads a message at a time, and writes what its visitor has collected.
class WebSocketConnection : public WebServer::Impl::Connection,
                            public MessageMoments::Writer,
                            public WebSocketPeer,
                            public std::enable_shared_from_this<WebSocketConnection>
{
public:
    WebSocketConnection(std::shared_ptr<WebServer::Impl> server, Stream stream)
        : m_server(std::move(server)), m_socket(std::move(stream)), m_lastWord(m_server->Context())
    {
    }

    void Accept(const Request& request, const WebRequest& asked)
    {
        m_visitor = m_server->Handler().OnWebSocket(asked, *this);
        m_server->Add(shared_from_this());
        beast::get_lowest_layer(m_socket).expires_never();
        LetWait(MOST_UNREAD_BYTES);
        const WebServerOptions& options = m_server->Options();
        m_socket.set_option(
            websocket::stream_base::timeout{options.requestTime, options.idleTime, true});
        m_socket.read_message_max(options.mostBodyBytes);
        m_socket.text(true);
        m_socket.auto_fragment(false);
        m_socket.async_accept(request,
                              [self = shared_from_this()](error_code error)
                              {
                                  if (error)
                                      return self->Finish();
                                  self->m_open = true;
                                  self->Read();
                                  self->Wake();
                              });
    }

    // WebSocketPeer.
    void Wake() override
    {
        if (!m_open || m_writing || m_waking || m_closing)
            return;
        m_waking = true;
        m_server->Moments().Add(shared_from_this());
    }

    void Close(unsigned code, const std::string& reason) override
    {
        if (m_closing)
            return;
        m_closing = true;
        m_reason = websocket::close_reason(static_cast<websocket::close_code>(code),
                                           reason.substr(0, 123));
        // Whoever reads on later finds the last word behind what is under way.
        LetWait(MOST_UNREAD_AT_END_BYTES);
        m_lastWord.expires_after(LAST_WORD_TIME);
        m_lastWord.async_wait(
            [self = shared_from_this()](error_code error)
            {
                if (!error)
                    self->Finish();
            });
        if (m_open && !m_writing)
            asio::post(m_server->Context(), [self = shared_from_this()] { self->SendClose(); });
    }

    // Connection.
    void End(const std::string& reason) override
    {
        Close(websocket::close_code::going_away, reason);
    }
    void Cut() override
    {
        Finish();
        m_visitor.reset();
    }

    // Writer.
    void Write() override
    {
        m_waking = false;
        if (m_writing || m_closing || m_finished)
            return;
        m_out = m_visitor->Collect(MOST_MESSAGE_BYTES);
        if (!m_out || m_closing)
            return;
        m_writing = true;
        m_socket.async_write(asio::buffer(*m_out),
                             [self = shared_from_this()](error_code error, std::size_t)
                             { self->OnWritten(error); });
    }

private:
    void LetWait(int bytes)
    {
        error_code ignored;
        beast::get_lowest_layer(m_socket).socket().set_option(
            asio::socket_base::send_buffer_size(bytes), ignored);
    }

    void Read()
    {
        m_socket.async_read(m_buffer, [self = shared_from_this()](error_code error, std::size_t)
                            { self->OnRead(error); });
    }

    void OnRead(error_code error)
    {
        if (error == beast::error::timeout && m_visitor)
            m_visitor->OnNoAnswer();
        if (error || m_finished)
            return Finish();
        if (!m_socket.got_text())
            return Close(websocket::close_code::unknown_data, "only text messages are understood");
        const std::string message = beast::buffers_to_string(m_buffer.data());
        m_buffer.consume(m_buffer.size());
        if (m_closing)
            return;
        try
        {
            m_visitor->OnMessage(message);
        }
        catch (const std::exception& failure)
        {
            Close(websocket::close_code::internal_error, failure.what());
            return;
        }
        Wake();
        Read();
    }

    void OnWritten(error_code error)
    {
        m_writing = false;
        m_out.reset();
        if (error || m_finished)
            return Finish();
        if (m_closing)
            return SendClose();
        Wake();
    }

    void SendClose()
    {
        if (m_finished || m_writing)
            return;
        m_writing = true;
        m_socket.async_close(m_reason, [self = shared_from_this()](error_code) { self->Finish(); });
    }

    void Finish()
    {
        if (m_finished)
            return;
        m_finished = true;
        m_closing = true;
        m_lastWord.cancel();
        beast::get_lowest_layer(m_socket).close();
        // Not inside a call of the visitor.
        asio::post(m_server->Context(),
                   [self = shared_from_this()]
                   {
                       self->m_visitor.reset();
                       self->m_server->Remove(self);
                   });
    }

    std::shared_ptr<WebServer::Impl> m_server;
    Socket m_socket;
    asio::steady_timer m_lastWord;
    beast::flat_buffer m_buffer;
    std::shared_ptr<const std::string> m_out;
    std::unique_ptr<WebVisitor> m_visitor;
    websocket::close_reason m_reason;
    bool m_open = false;
    bool m_writing = false;
    bool m_waking = false;
    bool m_closing = false;
    bool m_finished = false;
};

// One HTTP connection: request by request, until it ends or becomes a WebSocket.
class HttpConnection : public WebServer::Impl::Connection,
                       public std::enable_shared_from_this<HttpConnection>
{
public:
    HttpConnection(std::shared_ptr<WebServer::Impl> server, Protocol::socket socket)
        : m_server(std::move(server)), m_stream(std::move(socket))
    {
    }

    void Start()
    {
        m_server->Add(shared_from_this());
        Read(m_server->Options().requestTime);
    }

    // Tells whoever comes that there is no room.
    void Refuse()
    {
        m_server->Add(shared_from_this());
        m_request = {};
        m_stream.expires_after(LAST_WORD_TIME);
        m_request.keep_alive(false);
        Answer(503, "too many connections\n");
    }

    void End(const std::string&) override { m_stream.close(); }
    void Cut() override { m_stream.close(); }

private:
    void Read(std::chrono::milliseconds time)
    {
        m_parser.emplace();
        m_parser->header_limit(static_cast<std::uint32_t>(m_server->Options().mostHeaderBytes));
        m_parser->body_limit(m_server->Options().mostBodyBytes);
        // One limit for all of it, so that an octet now and then keeps nothing open.
        m_stream.expires_after(time);
        http::async_read(m_stream, m_buffer, *m_parser,
                         [self = shared_from_this()](error_code error, std::size_t)
                         { self->OnRead(error); });
    }

    void OnRead(error_code error)
    {
        if (error == http::error::header_limit || error == http::error::body_limit)
            return RefuseUnread(error == http::error::header_limit ? 431 : 413,
                                "the request is too large\n");
        if (error &&
            error.category() == http::make_error_code(http::error::bad_target).category() &&
            error != http::error::end_of_stream && error != http::error::partial_message)
            return RefuseUnread(400, "this is no HTTP request\n");
        if (error || m_server->IsClosed())
            return Finish();
        m_request = m_parser->release();
        ++m_server->counts.requests;
        try
        {
            Handle();
        }
        catch (const std::exception& failure)
        {
            Answer(500, fmt::format("{}\n", failure.what()));
        }
    }

    void Handle()
    {
        const std::string host = m_request[http::field::host].to_string();
        if (!IsHostAllowed(host, m_server->Options().hosts))
            return Refuse(421, "this host name is not known here; --host NAME lets it in\n");
        if (!IsOriginAllowed(m_request[http::field::origin].to_string(), host))
            return Refuse(403, "a page of another origin may not speak to this program\n");
        WebRequest request = Translate();
        request.hasToken = HasToken();
        const auto& open = m_server->Options().openPaths;
        const bool isOpen = std::find(open.begin(), open.end(), request.path) != open.end();
        if (!request.hasToken && !isOpen)
            return RefuseToken(request);
        if (websocket::is_upgrade(m_request))
            return Upgrade(request);
        const http::verb method = m_request.method();
        if (method != http::verb::get && method != http::verb::head && method != http::verb::post)
            return Refuse(405, "only GET, HEAD and POST are understood\n");
        Send(m_server->Handler().OnRequest(request));
    }

    WebRequest Translate() const
    {
        const std::string target = m_request.target().to_string();
        const std::size_t question = std::min(target.find('?'), target.size());
        WebRequest request;
        request.method = m_request.method_string().to_string();
        request.path = DecodePercent(target.substr(0, question), false);
        if (question < target.size())
            request.query = ParseQuery(target.substr(question + 1));
        request.body = m_request.body();
        return request;
    }

    bool HasToken() const
    {
        return ShowsToken(m_request[http::field::authorization].to_string(),
                          m_request[http::field::cookie].to_string(), m_server->Options().token);
    }

    void RefuseToken(const WebRequest& request)
    {
        ++m_server->counts.refused;
        WebResponse response = m_server->Handler().OnTokenMissing(request);
        response.status = 401;
        response.headers.emplace_back("WWW-Authenticate", "Bearer");
        Send(response);
    }

    void Upgrade(const WebRequest& request)
    {
        if (!m_server->Handler().HasWebSocket(request))
            return Refuse(404, "no WebSocket is offered there\n");
        std::make_shared<WebSocketConnection>(m_server, std::move(m_stream))
            ->Accept(m_request, request);
        m_server->Remove(shared_from_this());
    }

    // A request of which too little was read to answer it as it was meant.
    void RefuseUnread(unsigned status, const std::string& why)
    {
        m_request = {};
        Refuse(status, why);
    }

    void Refuse(unsigned status, const std::string& why)
    {
        ++m_server->counts.refused;
        m_request.keep_alive(false);
        Answer(status, why);
    }

    void Answer(unsigned status, const std::string& text)
    {
        WebResponse response;
        response.status = status;
        response.body = text;
        Send(response);
    }

    void Send(const WebResponse& given)
    {
        m_response = Response(static_cast<http::status>(given.status), m_request.version());
        m_response.set(http::field::content_type, given.contentType);
        SetSecurityFields(m_response);
        for (const auto& [name, value] : given.headers)
            m_response.set(name, value);
        m_response.body() = given.body;
        m_response.keep_alive(m_request.keep_alive());
        m_response.prepare_payload();
        // The length stays what a GET would have got.
        if (m_request.method() == http::verb::head)
            m_response.body().clear();
        m_stream.expires_after(m_server->Options().idleTime);
        http::async_write(m_stream, m_response,
                          [self = shared_from_this()](error_code error, std::size_t)
                          { self->OnWritten(error); });
    }

    void OnWritten(error_code error)
    {
        if (error || !m_response.keep_alive() || m_server->IsClosed())
            return Finish();
        Read(m_server->Options().idleTime);
    }

    void Finish()
    {
        error_code ignored;
        m_stream.socket().shutdown(Protocol::socket::shutdown_send, ignored);
        m_stream.close();
        m_server->Remove(shared_from_this());
    }

    std::shared_ptr<WebServer::Impl> m_server;
    Stream m_stream;
    beast::flat_buffer m_buffer;
    boost::optional<http::request_parser<http::string_body>> m_parser;
    Request m_request;
    Response m_response;
};
} // namespace

void WebServer::Impl::Listen()
{
    error_code error;
    const auto address = asio::ip::make_address(m_options.address, error);
    if (error)
        throw WebServerError(fmt::format("\"{}\" is no address", m_options.address));
    if (!address.is_loopback() && m_options.token.empty())
        throw WebServerError(fmt::format(
            "{} can be reached from other machines: --token-file is needed", m_options.address));
    const asio::ip::tcp::endpoint endpoint(address, m_options.port);
    m_acceptor.open(endpoint.protocol(), error);
    if (!error)
        m_acceptor.set_option(asio::ip::tcp::acceptor::reuse_address(true), error);
    if (!error)
        m_acceptor.bind(endpoint, error);
    if (!error)
        m_acceptor.listen(asio::socket_base::max_listen_connections, error);
    if (error)
        throw WebServerError(
            fmt::format("{} port {}: {}", m_options.address, m_options.port, error.message()));
    Accept();
}

void WebServer::Impl::Accept()
{
    m_acceptor.async_accept(
        [self = shared_from_this()](error_code error, asio::ip::tcp::socket socket)
        {
            if (self->m_closed || error == asio::error::operation_aborted)
                return;
            if (!error)
            {
                socket.set_option(asio::ip::tcp::no_delay(true), error);
                self->Start(std::move(socket));
                return self->Accept();
            }
            // No descriptor is free, for instance: a moment later one may be.
            self->m_pause.expires_after(std::chrono::milliseconds(100));
            self->m_pause.async_wait([self](error_code) { self->Accept(); });
        });
}

void WebServer::Impl::Start(Protocol::socket socket)
{
    const bool full = m_connections.size() >= m_options.mostConnections;
    auto connection = std::make_shared<HttpConnection>(shared_from_this(), std::move(socket));
    if (!full)
        return connection->Start();
    ++counts.refused;
    // The one past the limit gets a word, the ones past that not even that.
    if (m_connections.size() < m_options.mostConnections + m_options.mostConnections / 8 + 1)
        connection->Refuse();
}

void WebServer::Impl::Serve(int descriptor)
{
    Protocol::socket socket(m_context);
    socket.assign(Protocol(AF_UNIX, SOCK_STREAM), descriptor);
    Start(std::move(socket));
}

void WebServer::Impl::Close(const std::string& reason)
{
    if (m_closed)
        return;
    m_closed = true;
    error_code ignored;
    m_acceptor.close(ignored);
    m_pause.cancel();
    const auto connections = m_connections;
    for (const auto& connection : connections)
        connection->End(reason);
}

void WebServer::Impl::CutAll()
{
    const auto connections = m_connections;
    for (const auto& connection : connections)
        connection->Cut();
    m_connections.clear();
    m_moments.Clear();
}

WebServer::WebServer(asio::io_context& context, const WebServerOptions& options,
                     WebHandler& handler)
    : m_impl(std::make_shared<Impl>(context, options, handler))
{
    if (options.listens)
        m_impl->Listen();
}

WebServer::~WebServer()
{
    m_impl->Close("the program ends");
    m_impl->CutAll();
}

std::uint16_t WebServer::Port() const
{
    return m_impl->Port();
}

void WebServer::Close(const std::string& reason)
{
    m_impl->Close(reason);
}

void WebServer::Serve(int descriptor)
{
    m_impl->Serve(descriptor);
}

const WebServer::Counts& WebServer::GetCounts() const
{
    return m_impl->counts;
}
} // namespace lighting_host
