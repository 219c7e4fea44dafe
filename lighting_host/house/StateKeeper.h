#pragma once

#include "embedded_host/StateStore.h"
#include "nxshared/ITimerManagerCallback.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <boost/shared_ptr.hpp>

namespace embedded_host
{
class House;
}
namespace nx
{
class XmlNode;
}

namespace lighting_host
{
// Keeps the states of a house's drivers in a store: gives them back at the start, and saves all of
// them together again and again while the house runs, and at its end.
//
// Saves are made between two calls into drivers, on the house's clock. One that fails is told, and
// what was saved before stays; the next one tries again. A driver that gives no state, because it
// keeps none or because it failed, keeps what was saved for it.
class StateKeeper : private ITimerManagerCallback
{
public:
    // Told what went wrong with a save, in words.
    using Complaint = std::function<void(const std::string&)>;

    // Saves come every `intervalMs` of the house's clock, 1 or more. `house` must outlive this.
    StateKeeper(std::unique_ptr<embedded_host::StateStore> store, embedded_host::House& house,
                std::int64_t intervalMs, Complaint complaint);
    ~StateKeeper() override;

    // What was saved last for that driver, null when nothing was. Throws StateStoreError when it
    // cannot be read.
    boost::shared_ptr<nx::XmlNode> StateOf(const std::string& driver) const;

    // Called when the drivers run: from now on they are saved, soon when one asks for it.
    void Start();

    // Saves at once. Not inside a driver.
    void Save();

    // Called after each save that succeeded; empty for nobody.
    std::function<void()> onSaved;

    // Saves a last time, while the drivers still run, and stops.
    void Stop();

private:
    void OnTimerExpired(ID::Timer timer, time_t time) override;
    void SaveSoon();

    std::unique_ptr<embedded_host::StateStore> m_store;
    embedded_host::House& m_house;
    std::int64_t m_intervalMs;
    Complaint m_complaint;
    // The next save of the interval, and one that a driver asked for; 0 for none.
    unsigned m_next = 0;
    unsigned m_soon = 0;
    bool m_running = false;
};
} // namespace lighting_host
