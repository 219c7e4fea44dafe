#pragma once

#include "embedded_host/Output.h"
#include "lighting_host/text/Json.h"
#include "lighting_host/types/DriverOffers.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class NxBaseDriver;

namespace lighting_host
{
// Facts about a load that outlive a restart of its driver.
struct LoadFacts
{
    bool loadOn = false;
    bool energyReady = true;
};

// What a load has used, for the table at the end of a run.
struct EnergyFigures
{
    int minutesOn = 0;
    int minutesOff = 0;
    int powerWatts = 0;
    int wattHours = 0;
    // Of a watt-hour, beside those in `wattHours`.
    int hundredths = 0;
    int wattHoursToday = 0;
};

// What the program can do with a driver beyond what holds for every driver: the inputs, facts and
// queries of its type. One adapter for each type derives from the driver and from this; there is no
// JSON in a driver.
//
// Each Prepare operation checks everything first and returns what is to be done: it throws
// InputError and has changed nothing when the input is wrong. What it returns is run at once, on
// the driver's behalf.
class DriverAdapter
{
public:
    using Action = std::function<void()>;

    virtual ~DriverAdapter() = default;

    // An input object of this driver's type; `word` is the field that names it ("button"). An empty
    // action when the type has no such input.
    virtual Action PrepareInput(const std::string& word, Fields& fields);

    // One fact of a "set" input. An empty action when the type has no such fact.
    virtual Action PrepareFact(const std::string& name, const Json& value);

    // The answer to a query. False when the type has no such query.
    virtual bool Query(const std::string& word, Fields& fields, Json& value);

    // Sends the device those settings that the driver sends only when it is asked to. Run on the
    // driver's behalf, when the driver has started and at each periodic resync. This base does
    // nothing.
    virtual void SendSettings();

    // An event of this driver in a few words ("Aux 1 pressed"), empty when it has none.
    virtual std::string DescribeEvent(unsigned event) const;

    // What the table at the end of a run says of this driver: a few words each, label first.
    virtual std::vector<std::pair<std::string, std::string>> Summary() const;

    // What the driver's load has used; nothing for a driver that does not count it.
    virtual std::optional<EnergyFigures> EnergyOfLoad() const;

    // What the driver has to offer at this moment. None by default.
    virtual std::vector<ButtonOffer> Buttons() const;
    virtual std::vector<SettingOffer> Settings() const;
    virtual std::vector<FigureOffer> Figures() const;

    // The ids of the advanced scenes that the device plays by itself, in order. None by default.
    virtual std::vector<unsigned> PlayedScenes() const;

    // Which use of a button this effect of the driver is; nothing when it is none. Asked while the
    // driver is inside the call that caused it.
    virtual std::optional<ButtonUse> UseOf(const embedded_host::Effect& effect) const;

    // The input, without the driver's name, that gives a button's LED that color of six hexadecimal
    // digits, or a setting that value. Called with what Buttons or Settings gave, and a value that
    // is right for it.
    virtual Json LedInput(const ButtonOffer& button, const std::string& color) const;
    virtual Json SettingInput(const SettingOffer& setting, const std::string& value) const;
};

// A driver that was just made, and its adapter: two sides of one object. Whoever gets it owns the
// driver.
struct MadeDriver
{
    template <class Adapter>
    explicit MadeDriver(std::unique_ptr<Adapter> made) : adapter(made.get()), driver(made.release())
    {
    }

    DriverAdapter* adapter;
    NxBaseDriver* driver;
};
} // namespace lighting_host
