#pragma once

#include <chrono>
#include <cstdint>
#include <set>
#include <stdexcept>
#include <string>

namespace nx
{
class XmlNode;
}

namespace lighting_host
{
// What is wrong with a <device> element, in words.
struct DeviceError : std::runtime_error
{
    using std::runtime_error::runtime_error;

    // Which of the elements inside <device> it is about, from 0; -1 for <device> itself.
    int child = -1;
};

// An element of a house file that describes a simulated device, or what happens to it: its
// attributes, read by name. Anything that cannot be understood is a DeviceError.
class DeviceElement
{
public:
    // `node` must outlive this.
    explicit DeviceElement(const nx::XmlNode& node) : m_node(node) {}

    bool Has(const char* name) const;

    // Of <device> itself: the kind of device that it names, empty when it leaves that to the
    // driver's type. Takes note of the attributes that every kind of device has.
    std::string Kind();

    // A whole number from `min` to `max`; a time as on the command line ("500ms", "2s"); a
    // word. Each returns `absent` when there is no such attribute.
    unsigned Number(const char* name, unsigned min, unsigned max, unsigned absent);
    std::chrono::milliseconds Time(const char* name, std::chrono::milliseconds absent);
    std::string Word(const char* name, const std::string& absent);

    // The same for what must be there.
    unsigned RequireNumber(const char* name, unsigned min, unsigned max);
    std::chrono::milliseconds RequireTime(const char* name);

    // Refuses attributes that nobody asked for, and says which ones somebody did.
    void Finish() const;

    [[noreturn]] void Fail(const std::string& what) const;

private:
    void Require(const char* name) const;

    const nx::XmlNode& m_node;
    // What was asked for: what the element can have.
    mutable std::set<std::string> m_seen;
};
} // namespace lighting_host
