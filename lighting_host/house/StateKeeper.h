#pragma once

#include "embedded_host/StateStore.h"
#include "nxshared/ITimerManagerCallback.h"

#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include <boost/shared_ptr.hpp>

namespace embedded_host
{
class House;
}
namespace nx
{
class DriverHost;
class XmlNode;
} // namespace nx

namespace lighting_host
{
// Keeps the states of a house's drivers in a store. Gives them back at the start, saves all of them
// together at an interval, and saves them at the end. A driver that asks for it is saved soon,
// without the others.
//
// Saves are made between two calls into drivers, on the house's clock. One that fails is told, and
// what was saved before stays; the next one tries again. A driver that gives no state, because it
// keeps none or because it failed, keeps what was saved for it. The state of a driver whose type
// has changed under its name stays in the store, is told once, and is given to nobody.
class StateKeeper : private ITimerManagerCallback
{
public:
    // Told what went wrong with a save, in words.
    using ErrorHandler = std::function<void(const std::string&)>;

    // Saves come every `interval` of the house's clock, 1 ms or more. `house` must outlive this.
    StateKeeper(std::unique_ptr<embedded_host::StateStore> store, embedded_host::House& house,
                std::chrono::milliseconds interval, ErrorHandler onError);
    ~StateKeeper() override;

    // What was saved last for that driver of that type, null when nothing was. Throws
    // StateStoreError when it cannot be read.
    boost::shared_ptr<nx::XmlNode> StateOf(const std::string& driver, const std::string& type);

    // A text of somebody else's that is kept beside the drivers' states, by its own name: what was
    // kept last, empty for nothing; and another one from now on. Both throw StateStoreError.
    std::string Note(const std::string& name);
    void SaveNote(const std::string& name, const std::string& text);

    // Called when the drivers run: from now on they are saved, soon when one asks for it.
    void Start();

    // Saves every driver at once. Not inside a driver.
    void Save();

    // From now on states are saved in that store; what was kept before stays where it is.
    void SetStore(std::unique_ptr<embedded_host::StateStore> store) { m_store = std::move(store); }

    // Called after each save that succeeded, with the drivers that it was about; empty for nobody.
    // Must not ask for a save.
    std::function<void(const std::vector<nx::DriverHost*>&)> onSaved;

    // Saves a last time, while the drivers still run, and stops.
    void Stop();

private:
    void OnTimerExpired(ID::Timer timer, time_t time) override;
    void SaveSoon(nx::DriverHost& driver);
    void Save(const std::vector<nx::DriverHost*>& drivers);
    void TellOtherTypes(const std::string& driver, const std::string& type);

    std::unique_ptr<embedded_host::StateStore> m_store;
    embedded_host::House& m_house;
    std::chrono::milliseconds m_interval;
    ErrorHandler m_onError;
    // The next save of the interval, and one that drivers asked for; 0 for none.
    unsigned m_next = 0;
    unsigned m_soon = 0;
    // Who asked, in that order and once each.
    std::vector<nx::DriverHost*> m_asked;
    std::unordered_set<const nx::DriverHost*> m_isAsked;
    // The drivers whose other type was told.
    std::set<std::string> m_told;
    bool m_running = false;
};
} // namespace lighting_host
