#include "lighting_host/types/DeviceElement.h"

#include "embedded_host/XmlTree.h"
#include "lighting_host/text/Duration.h"

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// Every node of a house file was made by the host.
const embedded_host::XmlTree& Tree(const nx::XmlNode& node)
{
    return static_cast<const embedded_host::XmlTree&>(node);
}
} // namespace

std::string DeviceElement::Kind()
{
    Word("simulated", std::string());
    return Word("kind", std::string());
}

bool DeviceElement::Has(const char* name) const
{
    m_seen.insert(name);
    for (const auto& attribute : Tree(m_node).Attributes())
    {
        if (attribute.first == name)
            return true;
    }
    return false;
}

unsigned DeviceElement::Number(const char* name, unsigned min, unsigned max, unsigned absent)
{
    if (!Has(name))
        return absent;
    const std::string& text = m_node.GetAttribute(name);
    const bool digits = !text.empty() && text.size() <= 10 &&
                        text.find_first_not_of("0123456789") == std::string::npos;
    const unsigned long long value = digits ? std::stoull(text) : 0;
    if (!digits || value < min || value > max)
        Fail(fmt::format("\"{}\" is not a number from {} to {}", name, min, max));
    return static_cast<unsigned>(value);
}

std::chrono::milliseconds DeviceElement::Time(const char* name, std::chrono::milliseconds absent)
{
    if (!Has(name))
        return absent;
    std::int64_t milliseconds = 0;
    if (!ParseDuration(m_node.GetAttribute(name), milliseconds))
        Fail(fmt::format("\"{}\" is no time like 500ms or 2s", name));
    return std::chrono::milliseconds(milliseconds);
}

std::string DeviceElement::Word(const char* name, const std::string& absent)
{
    return Has(name) ? m_node.GetAttribute(name) : absent;
}

unsigned DeviceElement::RequireNumber(const char* name, unsigned min, unsigned max)
{
    Require(name);
    return Number(name, min, max, 0);
}

std::chrono::milliseconds DeviceElement::RequireTime(const char* name)
{
    Require(name);
    return Time(name, {});
}

void DeviceElement::Require(const char* name) const
{
    if (!Has(name))
        Fail(fmt::format("\"{}\" is missing", name));
}

void DeviceElement::Finish() const
{
    for (const auto& attribute : Tree(m_node).Attributes())
    {
        if (m_seen.count(attribute.first) == 0)
            Fail(fmt::format("unknown attribute \"{}\"; it takes {}", attribute.first,
                             fmt::join(m_seen, ", ")));
    }
}

void DeviceElement::Fail(const std::string& what) const
{
    throw DeviceError(fmt::format("<{}>: {}", m_node.GetName(), what));
}
} // namespace lighting_host
