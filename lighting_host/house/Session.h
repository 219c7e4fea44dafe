#pragma once

#include "embedded_host/Clock.h"
#include "embedded_host/House.h"
#include "embedded_host/Random.h"
#include "lighting_host/house/HouseFile.h"
#include "lighting_host/types/DriverAdapter.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace device_wire
{
class AttachedDevice;
}
namespace embedded_host
{
class StateStore;
}

namespace lighting_host
{
struct DeviceKind;
class DriverLibrary;
class LibraryAdapter;
class StateKeeper;

// How a house is run, as the command line says.
struct SessionOptions
{
    std::uint64_t seed = 1;
    embedded_host::Draw draw = embedded_host::Draw::Random;
    // The local time at virtual start, in seconds since 1970-01-01T00:00:00 local time.
    std::int64_t startLocalSeconds = 0;
    bool realTime = false;
    // The zone of the wall clock, empty for none: then a virtual wall knows no daylight saving, and
    // a real one is in the machine's zone.
    std::string zone;
    // Which of these the command line gave: they hold whatever a recording says.
    struct Given
    {
        bool seed = false;
        bool draw = false;
        bool start = false;
        bool zone = false;
    };
    Given given;
    // The file that the drivers' states are kept in, empty for none; how often they are saved, in
    // milliseconds of the house's clock; and who is told when that fails.
    std::string statePath;
    std::int64_t persistIntervalMs = 60000;
    // States to start from as XML, by driver, as a recording holds them: before those of the house
    // file, behind those of the state file.
    std::map<std::string, std::string> states;
    // Told of each state that the state file gave, as XML, before any driver runs; may be empty.
    std::function<void(const std::string& driver, const std::string& state)> onKeptState;
    std::function<void(const std::string&)> complain;
    // Makes the store of a session that keeps states; empty for the file of `statePath`.
    std::function<std::unique_ptr<embedded_host::StateStore>()> makeStore;
    // log4cplus's number of the level from which the library's records are reported.
    int logLevel = 0;
    // Told of every timer of the house; null for nobody. Must outlive the session.
    embedded_host::TimerObserver* timers = nullptr;
};

// A driver of the house was not made: its library made none, or failed. Says so with the house
// file's line.
class DriverNotMade : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// One house, as its file describes it, on its clock, with its drivers and simulated devices.
class Session
{
public:
    // `sink` must outlive the session. A house with errors must not be given. Throws LocalTimeError
    // for a zone that there is not, and StateStoreError for a state file that cannot be used.
    Session(const HouseFile& file, const SessionOptions& options, embedded_host::OutputSink& sink);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Makes every driver; then each device gets power and is reported online, in a device timer of
    // 0 ms. Throws DriverNotMade.
    void Start();

    // Saves the drivers' states and destroys the drivers, in the order of the file; their effects
    // still reach the sink.
    void Stop();

    // Restarts every driver, as when the controller's machine was off, while the devices go on.
    // Each driver starts from its state in the state file, else as the house file says. With `save`
    // the states are saved first; without it everything since the last save is lost, as in a crash.
    // Throws StateStoreError.
    void RestartDrivers(bool save);

    // From now on the house's random numbers are those of another seed.
    void Redraw(std::uint64_t seed);

    // Keeps the states; null without a state file.
    StateKeeper* Keeper() const { return m_keeper.get(); }

    embedded_host::House& House() const { return *m_house; }

    // The driver's adapter; null for a driver that does not run, or is of a library of its own
    // without facts and queries.
    DriverAdapter* AdapterOf(const nx::DriverHost& driver) const;

    // The room that the file gives; empty for none.
    const std::string& RoomOf(const nx::DriverHost& driver) const;

    // The kind of the driver's simulated device, or of the one that its type would have; null for a
    // driver of a library of its own without a device.
    const DeviceKind* KindOf(const nx::DriverHost& driver) const;

    // The devices that the file asked for, in the order of the file.
    const std::vector<std::unique_ptr<device_wire::AttachedDevice>>& Devices() const
    {
        return m_devices;
    }

private:
    struct OfOwnType
    {
        // Outlive restarts of the driver.
        LoadFacts facts;
        // That of the driver which was made last, and which may have gone.
        DriverAdapter* adapter = nullptr;
    };

    boost::shared_ptr<nx::XmlNode> StateToStartFrom(const HouseFileDriver& driver,
                                                    const SessionOptions& options);
    void AddDriver(const HouseFileDriver& driver, boost::shared_ptr<nx::XmlNode> state);
    boost::shared_ptr<nx::XmlNode> FirstState(const std::string& driver) const;

    const std::string m_housePath;
    std::unique_ptr<embedded_host::Clock> m_clock;
    const embedded_host::Draw m_draw;
    embedded_host::Random m_random;
    std::map<const nx::DriverHost*, std::string> m_rooms;
    std::map<const nx::DriverHost*, const DeviceKind*> m_kinds;
    // Where each driver is in the house file, as in "house.xml:3".
    std::map<const nx::DriverHost*, std::string> m_places;
    // What each driver starts from by its name, without a state file, as text: it is rarely needed
    // again.
    std::map<std::string, std::string> m_firstStates;
    // What is kept of each driver of the program's own types, by its name. A map: its values stay
    // where they are.
    std::map<std::string, OfOwnType> m_ownTypes;
    // Loaded libraries outlive the drivers that they made.
    std::vector<std::unique_ptr<DriverLibrary>> m_libraries;
    std::map<const nx::DriverHost*, std::unique_ptr<LibraryAdapter>> m_libraryAdapters;
    std::vector<std::unique_ptr<device_wire::AttachedDevice>> m_devices;
    std::unique_ptr<embedded_host::House> m_house;
    // Null when no states are kept.
    std::unique_ptr<StateKeeper> m_keeper;
};
} // namespace lighting_host
