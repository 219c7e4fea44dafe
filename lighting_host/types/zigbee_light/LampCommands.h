#pragma once

#include <chrono>
#include <cstdint>

namespace lighting_host
{
// What is sent to a lamp and what it answers, by the numbers of the air (wire values, do not
// change). A response has the number of its command.
namespace lamp_command
{
// On/Off and Level Control.
constexpr std::uint16_t CLUSTER_SWITCH = 0x0006;
constexpr std::uint16_t CLUSTER_LEVEL = 0x0008;
// Of the cluster Groups.
constexpr std::uint8_t ADD_GROUP = 0x00;
constexpr std::uint8_t REMOVE_GROUP = 0x03;
// Of the cluster Scenes.
constexpr std::uint8_t ADD_SCENE = 0x00;
constexpr std::uint8_t RECALL = 0x05;
// Of the cluster Level Control, all with On/Off.
constexpr std::uint8_t MOVE_TO_LEVEL = 0x04;
constexpr std::uint8_t MOVE = 0x05;
constexpr std::uint8_t STOP = 0x07;
// The unit of its times.
constexpr std::chrono::milliseconds TENTH{100};
} // namespace lamp_command
} // namespace lighting_host
