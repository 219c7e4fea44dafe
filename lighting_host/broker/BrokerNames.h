#pragma once

#include <string>

namespace lighting_host
{
struct HousePlan;

// What things are called on the broker. Names in a house file can be anything; ids are of
// [a-z0-9_-] only and are made from a name in one way: capital letters become small, and each run
// of other characters becomes one "_".

// The id of a name, never empty.
std::string BrokerId(const std::string& name);

// Whether a text is an id already.
bool IsBrokerId(const std::string& text);

// What is wrong with the ids of that house's drivers, in words: two that would be the same, or one
// that is taken. Empty when nothing is.
std::string FindIdCollision(const HousePlan& plan);

// Where everything of one house is.
struct BrokerTopics
{
    // Ids, but for the base, which may have several levels.
    std::string base = "lighting";
    std::string house;
    // Where programs look for what there is.
    std::string discovery = "homeassistant";

    // Whether the house is there: "online" or "offline", retained, and the will.
    std::string Status() const;
    // The same of one device.
    std::string Availability(const std::string& device) const;
    // Of one entity of a device: its state, its events, its triggers, what it is told, and what was
    // wrong with that.
    std::string State(const std::string& device, const std::string& entity) const;
    std::string Event(const std::string& device, const std::string& entity) const;
    std::string Trigger(const std::string& device, const std::string& entity) const;
    std::string Command(const std::string& device, const std::string& entity) const;
    std::string Error(const std::string& commandTopic) const;
    // The filter that all commands pass; and the device and entity that one is for, false for any
    // other topic.
    std::string Commands() const;
    bool SplitCommand(const std::string& topic, std::string& device, std::string& entity) const;

    // The host protocol itself.
    std::string ProtocolIn() const;
    std::string ProtocolOut() const;

    // The id by which the whole world of a broker's users knows a device or entity.
    std::string UniqueId(const std::string& device) const;
    std::string UniqueId(const std::string& device, const std::string& entity) const;
    // The message that tells of a device.
    std::string Discovery(const std::string& device) const;
    // Where a program that looks for devices says that it is there.
    std::string Birth() const;

private:
    std::string House() const;
};

// The device that stands for the house itself: its load groups and scenes.
extern const char* const HOUSE_DEVICE;
} // namespace lighting_host
