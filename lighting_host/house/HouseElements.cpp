#include "lighting_host/house/HouseElements.h"

#include "lighting_host/text/Duration.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <set>

#include <fmt/format.h>
#include <pugixml.hpp>

namespace lighting_host
{
namespace
{
constexpr const char* BLANKS = " \t\r\n";
constexpr std::size_t MOST_NUMBER_DIGITS = 9;
} // namespace

HouseElements::HouseElements(const std::string& text, std::vector<HouseFileError>& errors)
    : m_errors(errors)
{
    for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1))
        m_lineStarts.push_back(at + 1);
}

bool HouseElements::IsText(const pugi::xml_node& node)
{
    return (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) &&
           std::string(node.value()).find_first_not_of(BLANKS) != std::string::npos;
}

int HouseElements::LineOf(std::ptrdiff_t offset) const
{
    const std::size_t at = offset < 0 ? 0 : static_cast<std::size_t>(offset);
    const auto later = std::upper_bound(m_lineStarts.begin(), m_lineStarts.end(), at);
    return 1 + static_cast<int>(std::distance(m_lineStarts.begin(), later));
}

int HouseElements::LineOf(const pugi::xml_node& node) const
{
    return LineOf(node.offset_debug());
}

void HouseElements::Error(const pugi::xml_node& node, std::string what)
{
    m_errors.push_back({LineOf(node.offset_debug()), std::move(what)});
}

void HouseElements::ErrorInText(const pugi::xml_node& text, std::string what)
{
    const std::size_t blanks = std::strspn(text.value(), BLANKS);
    m_errors.push_back(
        {LineOf(text.offset_debug() + static_cast<std::ptrdiff_t>(blanks)), std::move(what)});
}

void HouseElements::OnlyAttributes(const pugi::xml_node& node,
                                   const std::vector<std::string>& known)
{
    std::set<std::string> given;
    for (const pugi::xml_attribute& attribute : node.attributes())
    {
        if (!given.insert(attribute.name()).second)
            Error(node, fmt::format("attribute \"{}\" of <{}> is given twice", attribute.name(),
                                    node.name()));
        if (std::find(known.begin(), known.end(), attribute.name()) == known.end())
            Error(node,
                  fmt::format("unknown attribute \"{}\" of <{}>", attribute.name(), node.name()));
    }
}

void HouseElements::OnlyElements(const pugi::xml_node& node)
{
    for (const pugi::xml_node& child : node.children())
    {
        if (IsText(child))
            ErrorInText(child, fmt::format("there is text in <{}>", node.name()));
    }
}

void HouseElements::OnlyText(const pugi::xml_node& node)
{
    for (const pugi::xml_node& child : node.children())
    {
        if (child.type() == pugi::node_element)
            Error(child, fmt::format("unknown element <{}> in <{}>", child.name(), node.name()));
    }
}

bool HouseElements::ReadId(const pugi::xml_node& node, unsigned& id)
{
    const std::string text = node.attribute("id").value();
    const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    const unsigned long long value = digits && text.size() <= 10 ? std::stoull(text) : UINT64_MAX;
    if (value > UINT32_MAX)
    {
        Error(node, fmt::format("the id \"{}\" of <{}> is not a number from 0 to {}", text,
                                node.name(), UINT32_MAX));
        return false;
    }
    id = static_cast<unsigned>(value);
    return true;
}

bool HouseElements::ReadTruth(const pugi::xml_node& node, const char* attribute, bool& value)
{
    const std::string text = node.attribute(attribute).value();
    value = text == "true";
    if (value || text == "false" || text.empty())
        return true;
    Error(node, fmt::format("\"{}\" of <{}> is \"{}\", neither true nor false", attribute,
                            node.name(), text));
    return false;
}

bool HouseElements::ReadNumber(const pugi::xml_node& node, const char* attribute, unsigned max,
                               unsigned& value)
{
    const std::string text = node.attribute(attribute).value();
    const bool digits = !text.empty() && text.size() <= MOST_NUMBER_DIGITS &&
                        text.find_first_not_of("0123456789") == std::string::npos;
    value = digits ? static_cast<unsigned>(std::stoul(text)) : 0;
    if (digits && value <= max)
        return true;
    Error(node, fmt::format("\"{}\" of <{}> is \"{}\", not a number from 0 to {}", attribute,
                            node.name(), text, max));
    return false;
}

void HouseElements::ReadTime(const pugi::xml_node& node, const char* attribute,
                             std::int64_t& milliseconds)
{
    const pugi::xml_attribute found = node.attribute(attribute);
    if (found && (!ParseDuration(found.value(), milliseconds) || milliseconds > INT32_MAX))
        Error(node, fmt::format("\"{}\" of <{}> is \"{}\", no time like 500ms or 2s", attribute,
                                node.name(), found.value()));
}
} // namespace lighting_host
