#pragma once

#include "lighting_host/web/LiveServer.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace lighting_host
{
class Fields;

// One WebSocket: what it hears, how far it has read, and the lines that are for it alone.
//
// Leaves the server's list when it is destroyed; what it held down is released then.
class LiveServer::Visitor : public WebVisitor, public HouseVisitor
{
public:
    // Both must outlive this.
    Visitor(LiveServer& server, WebSocketPeer& peer, std::string name, bool watching);
    ~Visitor() override;

    bool HearsPage() const { return m_page; }

    // The lines that release the buttons that it holds.
    const std::set<std::string>& Pressed() const { return m_pressed; }

    // There are new lines in the ring. Drops the visitor when it has missed some of those before.
    void Wake();

    // A line for this visitor alone, after all that came so far.
    void Add(const std::string& text);

    // The house has put out more lines at once than are kept, so that the next ones for this
    // visitor may be gone before it could read them. A visitor that had read all but the last ones
    // before that is told what is gone, and goes on after all that came; any other is too slow.
    void PassOver();

    // The lines are another moment's, whose last number is `seq`: what came before is not sent any
    // more. `line` says so to a visitor that hears no page lines.
    void MoveTo(std::uint64_t seq, const std::string& line);

    // HouseVisitor.
    const std::string& Name() const override { return m_name; }
    void OnAnswer(const std::string& text) override { Add(text); }

    // WebVisitor.
    void OnMessage(const std::string& message) override;
    std::shared_ptr<const std::string> Collect(std::size_t mostBytes) override;
    void OnNoAnswer() override { Drop("it does not answer"); }

private:
    struct Own
    {
        std::uint64_t after = 0;
        std::string text;
    };

    void Drop(const std::string& why);
    bool DropWhenBehind();
    std::string OwnText(std::size_t mostBytes);
    bool Hears(const OutputRing::Line& line) const;
    bool IsOf(const OutputRing::Line& line) const;
    bool OwnLine(const std::string& text);
    void ReadHear(Fields& hear);
    void NoteHeard();
    void Resume(std::uint64_t since, long long branch);
    void NotePressed(const std::string& text);

    LiveServer& m_server;
    WebSocketPeer& m_peer;
    const std::string m_name;
    const bool m_watching;
    bool m_page = false;
    bool m_dropped = false;
    // Nothing for all of them.
    std::optional<std::set<std::string>> m_kinds;
    std::optional<std::set<std::size_t>> m_drivers;
    // The same for all visitors that hear the same lines.
    std::string m_heard;
    // The last number that was sent or passed over.
    std::uint64_t m_cursor;
    std::deque<Own> m_own;
    std::size_t m_ownBytes = 0;
    unsigned long m_number = 0;
    // The lines that release them.
    std::set<std::string> m_pressed;
};
} // namespace lighting_host
