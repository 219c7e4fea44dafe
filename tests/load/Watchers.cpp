// Many visitors of a live house, in one program that costs the machine little: most read all that
// comes, some stop reading after their first message, and one hands in what a meter reports, at a
// rate.
//
//     watchers PORT VISITORS STUCK REPORTS_A_SECOND
//
// Runs until its standard input ends; then the stuck ones read what is left for them. Writes one
// JSON object: "reports" handed in and answered, "octets" read, "lost" readers that were cut off,
// and the "codes" with which the stuck ones were closed, 1006 for a connection that broke off.

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace
{
constexpr unsigned char PING = 9;
constexpr unsigned char PONG = 10;
constexpr unsigned char CLOSE = 8;
constexpr unsigned char TEXT = 1;
constexpr int BROKEN_OFF = 1006;
constexpr int NO_CODE = 1005;
constexpr int TICK_MS = 5;
constexpr int LAST_READ_MS = 2000;
constexpr std::size_t MOST_UNANSWERED = 500;
const std::string REPORT = R"({"driver":"p","set":{"energy_wh":1}})";
const std::string HEAR_NOTHING = R"({"hear":{"kinds":["none"]}})";

[[noreturn]] void Fail(const char* what)
{
    std::perror(what);
    std::exit(2);
}

// A frame of a client, masked with zeros; of at most 125 octets.
std::string Frame(unsigned char opcode, const std::string& payload)
{
    std::string frame;
    frame += static_cast<char>(0x80U | opcode);
    frame += static_cast<char>(0x80U | payload.size());
    frame.append(4, '\0');
    return frame + payload;
}

class Watcher
{
public:
    Watcher(std::uint16_t port, const std::string& path)
        : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            Fail("connect");
        Send("GET " + path + " HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\n" +
             "Connection: Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n" +
             "Sec-WebSocket-Version: 13\r\n\r\n");
        ReadHead();
        fcntl(m_socket, F_SETFL, O_NONBLOCK);
    }
    ~Watcher() { close(m_socket); }
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    int Socket() const { return m_socket; }
    std::size_t Octets() const { return m_octets; }
    std::size_t Done() const { return m_done; }
    // 0 while it is open.
    int Code() const { return m_code; }
    void CountDone() { m_countsDone = true; }

    void Send(const std::string& octets)
    {
        std::size_t sent = 0;
        while (sent < octets.size())
        {
            const ssize_t wrote =
                send(m_socket, octets.data() + sent, octets.size() - sent, MSG_NOSIGNAL);
            if (wrote > 0)
                sent += static_cast<std::size_t>(wrote);
            else if (errno != EAGAIN)
                return;
            else
            {
                pollfd writable{m_socket, POLLOUT, 0};
                poll(&writable, 1, TICK_MS);
            }
        }
    }

    // Reads once what is there.
    void Read()
    {
        static char buffer[1 << 18];
        const ssize_t got = recv(m_socket, buffer, sizeof buffer, 0);
        if (got > 0)
            return Take(buffer, static_cast<std::size_t>(got));
        if (got == 0 || errno != EAGAIN)
            m_code = m_code == 0 ? BROKEN_OFF : m_code;
    }

private:
    void ReadHead()
    {
        std::string head;
        char one = 0;
        while (head.find("\r\n\r\n") == std::string::npos && recv(m_socket, &one, 1, 0) == 1)
            head += one;
        if (head.find(" 101 ") == std::string::npos)
        {
            std::fprintf(stderr, "no WebSocket: %s\n", head.c_str());
            std::exit(2);
        }
    }

    // Payloads are passed over but for those that matter; octets come in any pieces.
    void Take(const char* data, std::size_t size)
    {
        m_octets += size;
        while (size > 0)
        {
            if (m_left == 0 && !TakeHead(data, size))
                continue;
            const std::size_t part = std::min<std::size_t>(m_left, size);
            if (m_opcode != TEXT || m_countsDone)
                m_payload.append(data, part);
            m_left -= part;
            data += part;
            size -= part;
            if (m_left == 0)
                EndFrame();
        }
    }

    // One more octet of a head; true once it is whole and a payload follows.
    bool TakeHead(const char*& data, std::size_t& size)
    {
        m_head += *data++;
        --size;
        const std::size_t length = m_head.size() < 2 ? 0 : m_head[1] & 127;
        const std::size_t whole = length == 127 ? 10 : length == 126 ? 4 : 2;
        if (m_head.size() < whole || m_head.size() < 2)
            return false;
        m_left = whole == 2 ? length : 0;
        for (std::size_t i = 2; i < whole; ++i)
            m_left = m_left << 8U | static_cast<unsigned char>(m_head[i]);
        m_opcode = static_cast<unsigned char>(m_head[0]) & 15U;
        m_head.clear();
        if (m_left == 0)
            EndFrame();
        return m_left > 0 && size > 0;
    }

    void EndFrame()
    {
        if (m_opcode == PING)
            Send(Frame(PONG, m_payload));
        else if (m_opcode == CLOSE)
            m_code = m_payload.size() < 2 ? NO_CODE
                                          : static_cast<unsigned char>(m_payload[0]) << 8 |
                                                static_cast<unsigned char>(m_payload[1]);
        const std::string mark = "{\"done\":";
        for (std::size_t at = m_payload.find(mark); m_opcode == TEXT && at != std::string::npos;
             at = m_payload.find(mark, at + 1))
            ++m_done;
        m_payload.clear();
    }

    int m_socket;
    int m_code = 0;
    bool m_countsDone = false;
    std::size_t m_octets = 0;
    std::size_t m_done = 0;
    std::string m_head;
    std::string m_payload;
    std::uint64_t m_left = 0;
    unsigned char m_opcode = 0;
};

using Watchers = std::vector<std::unique_ptr<Watcher>>;

// Reads for the ones that read, and hands in reports, until the standard input ends.
std::size_t Run(const Watchers& readers, Watcher& feeder, double rate)
{
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    const auto add = [epoll](int descriptor, void* what)
    {
        epoll_event event = {};
        event.events = EPOLLIN;
        event.data.ptr = what;
        epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event);
    };
    add(STDIN_FILENO, nullptr);
    add(feeder.Socket(), &feeder);
    for (const auto& reader : readers)
        add(reader->Socket(), reader.get());
    const auto begin = std::chrono::steady_clock::now();
    const std::string report = Frame(TEXT, REPORT);
    // The first `done` is that of HEAR_NOTHING.
    std::size_t handed = 0;
    std::vector<epoll_event> events(readers.size() + 2);
    while (true)
    {
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
        const auto wanted = static_cast<std::size_t>(passed.count() * rate);
        std::string reports;
        for (; handed < wanted && handed < feeder.Done() + MOST_UNANSWERED; ++handed)
            reports += report;
        feeder.Send(reports);
        const int count =
            epoll_wait(epoll, events.data(), static_cast<int>(events.size()), TICK_MS);
        for (int i = 0; i < count; ++i)
        {
            auto* const watcher =
                static_cast<Watcher*>(events[static_cast<std::size_t>(i)].data.ptr);
            if (!watcher)
                return feeder.Done();
            watcher->Read();
            if (watcher->Code() != 0)
                epoll_ctl(epoll, EPOLL_CTL_DEL, watcher->Socket(), nullptr);
        }
    }
}

// What is left for one that has stopped reading, up to how it was closed.
int ReadToItsEnd(Watcher& watcher)
{
    while (watcher.Code() == 0)
    {
        pollfd readable{watcher.Socket(), POLLIN, 0};
        if (poll(&readable, 1, LAST_READ_MS) <= 0)
            break;
        watcher.Read();
    }
    return watcher.Code();
}
} // namespace

int main(int count, char** words)
{
    if (count != 5)
    {
        std::fputs("usage: watchers PORT VISITORS STUCK REPORTS_A_SECOND\n", stderr);
        return 2;
    }
    const auto port = static_cast<std::uint16_t>(std::atoi(words[1]));
    const int visitors = std::atoi(words[2]);
    const int stuckCount = std::atoi(words[3]);
    Watchers readers;
    Watchers stuck;
    for (int i = 0; i < visitors; ++i)
        (i < stuckCount ? stuck : readers)
            .push_back(std::make_unique<Watcher>(port, "/protocol?watch"));
    Watcher feeder(port, "/protocol?name=feeder");
    feeder.CountDone();
    feeder.Send(Frame(TEXT, HEAR_NOTHING));
    std::puts("ready");
    std::fflush(stdout);
    const std::size_t reports = Run(readers, feeder, std::atof(words[4]));
    std::size_t octets = 0;
    std::size_t lost = 0;
    for (const auto& reader : readers)
    {
        octets += reader->Octets();
        lost += reader->Code() != 0 ? 1U : 0U;
    }
    std::string codes;
    for (const auto& one : stuck)
        codes += (codes.empty() ? "" : ",") + std::to_string(ReadToItsEnd(*one));
    std::printf("{\"reports\":%zu,\"octets\":%zu,\"lost\":%zu,\"codes\":[%s]}\n", reports, octets,
                lost, codes.c_str());
    return 0;
}
