#include "lighting_host/simulation/WriteCounts.h"

#include "device_wire/AttachedDevice.h"
#include "lighting_host/house/Session.h"
#include "lighting_host/types/DriverType.h"

#include <algorithm>

namespace lighting_host
{
using namespace embedded_host;

WriteCounts::WriteCounts(const HouseFile& file, const Session& session) : m_file(file)
{
    for (const auto& device : session.Devices())
    {
        const DeviceKind* const kind = session.KindOf(device->Driver());
        if (!kind || !kind->distance)
            continue;
        Load load{device.get(), kind};
        load.lacked = DistanceOf(load);
        m_loads.push_back(load);
    }
}

unsigned WriteCounts::DistanceOf(const Load& load) const
{
    return load.kind->distance(*load.device->Device(), m_file, load.device->Driver().Config().name);
}

void WriteCounts::OnOutput(const Output& output)
{
    const bool message = std::holds_alternative<MibSent>(output.effect) ||
                         std::holds_alternative<ZclSent>(output.effect);
    if (!message)
        return;
    for (Load& load : m_loads)
    {
        if (&load.device->Driver() != &output.driver)
            continue;
        ++load.messages;
        load.writes += load.kind->isWrite(output.effect) ? 1 : 0;
        if (!load.struck)
            return;
        // Whatever it was is over, and the message has not arrived yet.
        load.struck = false;
        const unsigned now = DistanceOf(load);
        load.lacked += now > load.before ? now - load.before : 0;
        return;
    }
}

void WriteCounts::Strike(const nx::DriverHost& driver)
{
    for (Load& load : m_loads)
    {
        if (&load.device->Driver() != &driver || load.struck)
            continue;
        load.struck = true;
        load.before = DistanceOf(load);
    }
}

void WriteCounts::OnPerson(const nx::DriverHost& driver, const std::string&)
{
    Strike(driver);
}

void WriteCounts::OnPowerFailure(const nx::DriverHost& driver)
{
    Strike(driver);
}

std::vector<WriteCounts::Count> WriteCounts::Counts() const
{
    std::vector<Count> counts;
    for (const Load& load : m_loads)
    {
        // What was lost after the last message counts neither way.
        const unsigned long now = load.struck ? load.before : DistanceOf(load);
        counts.push_back({&load.device->Driver(), load.messages, load.writes,
                          load.lacked - std::min(load.lacked, now)});
    }
    return counts;
}
} // namespace lighting_host
