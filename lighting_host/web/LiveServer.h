#pragma once

#include "lighting_host/switchboard/HouseView.h"
#include "lighting_host/switchboard/LiveHouse.h"
#include "lighting_host/web/SharedLines.h"
#include "lighting_host/web/WallShifts.h"
#include "lighting_host/web/WebServer.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace lighting_host
{
class Metrics;

// A live house on HTTP and WebSocket: its visitors, its page, its snapshot and its metrics.
//
// Everything happens on the house's thread.
class LiveServer : public WebHandler, public LiveListener
{
public:
    struct Options
    {
        // Of the house file, without its ending.
        std::string name;
        std::string program;
        std::string token;
        // "none", "light", "heavy".
        std::string faultLevel;
        std::uint64_t seed = 1;
        // Local time at 0 ms, in seconds since 1970-01-01T00:00:00 local time; and the zone of the
        // wall clock, empty for none.
        std::int64_t startLocalSeconds = 0;
        std::string zone;
        // A folder to serve the page from instead of the one built in; empty for that.
        std::string pageFolder;
        // Gets a line, without its end, for whoever runs the house; empty for nobody.
        std::function<void(const std::string&)> tell;
    };

    // What is behind the visitors is set by Attach before anything is served. `wake` is called when
    // the house may want to be worked on earlier than it said.
    LiveServer(Options options, std::function<void()> wake);
    ~LiveServer() override;
    LiveServer(const LiveServer&) = delete;
    LiveServer& operator=(const LiveServer&) = delete;

    // Both must outlive this; the house must make a view for each run.
    void Attach(LiveHouse& house);
    void Attach(const WebServer& server) { m_server = &server; }

    // Called every 50 ms of real time or so: sends what has changed to the pages.
    void SendChanges(std::int64_t nowNs);

    // Whether a visitor looks at a page, so that SendChanges is worth its while.
    bool HasPages() const;

    // WebHandler.
    WebResponse OnRequest(const WebRequest& request) override;
    WebResponse OnTokenMissing(const WebRequest& request) override;
    bool HasWebSocket(const WebRequest& request) const override;
    std::unique_ptr<WebVisitor> OnWebSocket(const WebRequest& request,
                                            WebSocketPeer& peer) override;

    // LiveListener.
    void OnLines() override;
    void OnHandedIn() override;
    void OnClock() override;
    void OnBreak(const Breaks::Met& met) override;
    void OnBreaksChanged() override;
    void OnLeavingNow() override;
    void OnMoment() override;
    void OnRewind(std::int64_t toMs, std::int64_t atMs) override;

private:
    class Visitor;

    std::string HelloMembers() const;
    std::string GoneLine(std::uint64_t since) const;
    std::string ClockValue() const;
    std::string BreaksValue() const;
    std::string PastValue();
    std::string Snapshot();
    HouseView& View();
    void SendPage(const std::string& members, bool counted);
    void WakeAll();
    WebResponse PostInput(const WebRequest& request);
    WebResponse PostToken(const WebRequest& request);
    WebResponse Asset(const std::string& path) const;
    WebResponse MetricsText();
    void Released(Visitor& visitor);
    void NoteDropped(const std::string& name, const std::string& why);

    const Options m_options;
    const WallShifts m_shifts;
    std::function<void()> m_wake;
    LiveHouse* m_house = nullptr;
    const WebServer* m_server = nullptr;
    std::set<Visitor*> m_visitors;
    SharedLines m_shared;
    std::unique_ptr<Metrics> m_metrics;
    std::string m_run;
    std::uint64_t m_rev = 0;
    unsigned m_lastVisitor = 0;
    std::uint64_t m_droppedVisitors = 0;
    // Whether every visitor knows that there are lines that it has not collected.
    bool m_allAwake = false;
    std::chrono::steady_clock::time_point m_lastClock;
    std::size_t m_toldVisitors = 0;
    // The drivers as they were at the moment that is now, while the house is in the past.
    std::string m_now;
};
} // namespace lighting_host
