#include "lighting_host/switchboard/HouseText.h"

#include "lighting_host/switchboard/FlightRecord.h"

#include <cstring>
#include <sstream>

#include <fmt/format.h>
#include <pugixml.hpp>

namespace lighting_host
{
namespace
{
// Everything stays as it was written, blanks, line ends and remarks included; as a fragment, so
// that this holds outside the root element too.
constexpr unsigned PARSE = pugi::parse_pi | pugi::parse_comments | pugi::parse_cdata |
                           pugi::parse_escapes | pugi::parse_doctype | pugi::parse_declaration |
                           pugi::parse_ws_pcdata | pugi::parse_fragment;

bool Is(const pugi::xml_node& node, const char* name)
{
    return std::strcmp(node.name(), name) == 0;
}

// With the blanks before it, so that no empty line stays.
void Remove(pugi::xml_node node)
{
    pugi::xml_node parent = node.parent();
    const pugi::xml_node before = node.previous_sibling();
    if (before.type() == pugi::node_pcdata &&
        std::strspn(before.value(), " \t\r\n") == std::strlen(before.value()))
        parent.remove_child(before);
    parent.remove_child(node);
}

// A thing of a scene or load group that names this driver.
bool Names(const pugi::xml_node& node, const std::string& driver)
{
    if (Is(node, "member"))
        return node.child_value() == driver;
    return (Is(node, "load") || Is(node, "on")) && node.attribute("driver").value() == driver;
}
} // namespace

struct HouseText::Document
{
    pugi::xml_document xml;
    pugi::xml_node house;
    std::vector<pugi::xml_node> parts;

    void AddParts(const pugi::xml_node& driver)
    {
        for (const pugi::xml_node& device : driver.children("device"))
            for (const pugi::xml_node& child : device.children())
                if (Is(child, "fault") || Is(child, "act"))
                    parts.push_back(child);
    }
};

HouseText::HouseText(const std::string& text) : m_document(std::make_unique<Document>())
{
    const auto result =
        m_document->xml.load_buffer(text.data(), text.size(), PARSE, pugi::encoding_utf8);
    m_document->house = m_document->xml.child("house");
    if (!result || !m_document->house)
        throw RecordError("the record's house is no house file");
    for (const pugi::xml_node& child : m_document->house.children())
    {
        m_document->AddParts(child);
        if (Is(child, "scene") || Is(child, "load_group"))
            m_document->parts.push_back(child);
    }
}

HouseText::~HouseText() = default;

std::vector<std::string> HouseText::Drivers() const
{
    std::vector<std::string> names;
    for (const pugi::xml_node& driver : m_document->house.children("driver"))
        names.emplace_back(driver.attribute("name").value());
    return names;
}

void HouseText::RemoveDriver(const std::string& name)
{
    std::vector<pugi::xml_node> gone;
    for (const pugi::xml_node& child : m_document->house.children())
    {
        if (Is(child, "driver") && child.attribute("name").value() == name)
            gone.push_back(child);
        for (const pugi::xml_node& inner : child.children())
            if (!Is(child, "driver") && Names(inner, name))
                gone.push_back(inner);
    }
    for (const pugi::xml_node& node : gone)
        Remove(node);
}

bool HouseText::SetLibrary(const std::string& nameOrType, const std::string& path)
{
    bool found = false;
    for (pugi::xml_node driver : m_document->house.children("driver"))
    {
        if (driver.attribute("name").value() != nameOrType &&
            driver.attribute("type").value() != nameOrType)
            continue;
        found = true;
        pugi::xml_attribute library = driver.attribute("library");
        if (!library)
            library = driver.append_attribute("library");
        library.set_value(path.c_str());
    }
    return found;
}

std::vector<std::string> HouseText::Parts() const
{
    std::vector<std::string> names;
    for (const pugi::xml_node& part : m_document->parts)
    {
        const char* of = part.attribute("name").value();
        if (Is(part, "fault") || Is(part, "act"))
            of = part.parent().parent().attribute("name").value();
        names.push_back(fmt::format("{}: {}", of, part.name()));
    }
    return names;
}

void HouseText::RemovePart(std::size_t place)
{
    Remove(m_document->parts[place]);
}

std::string HouseText::Text() const
{
    std::ostringstream text;
    m_document->xml.save(text, "", pugi::format_raw | pugi::format_no_declaration,
                         pugi::encoding_utf8);
    return text.str();
}
} // namespace lighting_host
