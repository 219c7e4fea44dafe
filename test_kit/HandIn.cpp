#include "test_kit/AnyInput.h"
#include "test_kit/OneDriverHouse.h"

#include <chrono>

namespace test_kit
{
void HandIn(const Input& input, OneDriverHouse& house)
{
    const auto number = static_cast<unsigned>(input.number);
    switch (input.kind)
    {
    case Input::Kind::Command:
        house.Command(input.name, input.params);
        return;
    case Input::Kind::Condition:
        return house.Condition(input.name, input.params);
    case Input::Kind::BoundCall:
        return house.BoundCall(number, input.name, input.xml);
    case Input::Kind::Binding:
        return house.Binding(number, Input::BINDING_CLASS, input.flag);
    case Input::Kind::Trap:
        return house.Trap(input.name, input.hexParams);
    case Input::Kind::Reply:
        return house.Reply(input.name, input.hexParams);
    case Input::Kind::Bus:
        return house.Bus(static_cast<int>(input.number), input.payload);
    case Input::Kind::Online:
        return house.Online(input.flag);
    case Input::Kind::Time:
        return house.Advance(std::chrono::milliseconds(input.number));
    }
}
} // namespace test_kit
