// The row of the type puck.

#include "drivers/puck/PuckSettings.h"
#include "lighting_common/ContactButton.h"
#include "lighting_common/SnapOnButton.h"
#include "lighting_host/types/HousePlan.h"
#include "lighting_host/types/puck/Puck.h"

namespace lighting_host
{
namespace
{
bool IsUse(const embedded_host::Effect& effect, const HouseFileUse& use)
{
    const auto* const fired = std::get_if<embedded_host::EventFired>(&effect);
    const int first = use.contact ? ContactButton::BASE_EVENT_NUM : SnapOnButton::BASE_EVENT_NUM;
    return fired && fired->event == static_cast<unsigned>(first) +
                                        PuckButton::EVENTS_PER_BUTTON * use.number +
                                        static_cast<unsigned>(use.how);
}
} // namespace

DriverType PuckType()
{
    DriverType type{};
    type.name = "puck";
    type.words = "puck module";
    type.make = &MakePuck;
    type.tables = PuckTables();
    type.picture = &MakePuckPicture;
    type.schema = &puck::Settings;
    type.device.name = "puck_module";
    type.device.make = &MakePuckModule;
    type.isUse = &IsUse;
    return type;
}
} // namespace lighting_host
