#include "lighting_host/house/HouseDoubts.h"

#include "lighting_host/text/DidYouMean.h"
#include "lighting_host/types/DriverType.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>

#include <fmt/format.h>
#include <pugixml.hpp>

namespace lighting_host
{
namespace
{
using drivers::Schema;
using drivers::Setting;
using drivers::StateElement;

std::string TextOf(const pugi::xml_node& node)
{
    const std::string text = node.child_value();
    const auto from = text.find_first_not_of(" \t\r\n");
    if (from == std::string::npos)
        return std::string();
    return text.substr(from, text.find_last_not_of(" \t\r\n") - from + 1);
}

std::optional<std::int64_t> NumberIn(const std::string& text)
{
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    if (read.ec != std::errc() || read.ptr != end)
        return std::nullopt;
    return number;
}

// What is wrong with the value of an element of a state; empty when nothing is.
std::string WrongValue(const StateElement& row, const std::string& text)
{
    const std::optional<std::int64_t> number = NumberIn(text);
    switch (row.kind)
    {
    case StateElement::Number:
        if (!number || *number < row.least || *number > row.most)
            return fmt::format("not a number from {} to {}", row.least, row.most);
        break;
    case StateElement::Truth:
        if (text.empty() || !std::strchr("TtFf01", text[0]))
            return "neither true nor false";
        break;
    case StateElement::Color:
        // A driver persists a color that nobody has set as nothing.
        if (text.empty())
            break;
        if (text.size() != 6 ||
            text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
            return "no color of six hexadecimal digits";
        break;
    case StateElement::Group:
    case StateElement::Text:
        break;
    }
    return std::string();
}

// Looks through one house.
class Doubter
{
public:
    explicit Doubter(const std::string& text) : m_text(text) {}

    std::vector<HouseFileError> Find();

private:
    // The buttons of a driver that somebody can use.
    struct Buttons
    {
        std::int64_t count = 0;
        // By number instead, for a type that describes each one.
        bool listed = false;
        std::set<std::int64_t> numbers;
        // Where the bindings of contacts and buttons begin; 0 for none.
        std::int64_t contactBinding = 0;
        std::int64_t buttonBinding = 0;

        bool Has(std::int64_t button) const
        {
            return listed ? numbers.count(button) != 0 : button >= 0 && button < count;
        }
    };

    void Doubt(const pugi::xml_node& node, std::string what);
    void LookAtDriver(const pugi::xml_node& driver);
    void LookAtSettings(const pugi::xml_node& config, const Schema& schema,
                        const std::string& type);
    void LookAtState(const pugi::xml_node& parent, const std::string& name, const Schema& schema);
    void LookAtUse(const pugi::xml_node& use, const std::string& driver);
    void LookAtBind(const pugi::xml_node& bind, const char* driver, const char* binding);
    static Buttons ButtonsOf(const pugi::xml_node& driver, const Schema& schema);

    const std::string& m_text;
    // Of the drivers whose buttons are known.
    std::map<std::string, Buttons> m_buttons;
    std::vector<HouseFileError> m_doubts;
};

void Doubter::Doubt(const pugi::xml_node& node, std::string what)
{
    const std::size_t offset = std::min(
        static_cast<std::size_t>(std::max<std::ptrdiff_t>(node.offset_debug(), 0)), m_text.size());
    const auto end = m_text.begin() + static_cast<std::ptrdiff_t>(offset);
    m_doubts.push_back(
        {1 + static_cast<int>(std::count(m_text.begin(), end, '\n')), std::move(what)});
}

std::vector<HouseFileError> Doubter::Find()
{
    pugi::xml_document document;
    document.load_buffer(m_text.data(), m_text.size(), pugi::parse_default, pugi::encoding_utf8);
    const pugi::xml_node house = document.document_element();
    for (const pugi::xml_node& driver : house.children("driver"))
        LookAtDriver(driver);
    for (const char* const reacting : {"load_group", "scene"})
    {
        for (const pugi::xml_node& node : house.children(reacting))
        {
            for (const pugi::xml_node& use : node.children("on"))
                LookAtUse(use, use.attribute("driver").value());
        }
    }
    for (const pugi::xml_node& bind : house.children("bind"))
    {
        LookAtBind(bind, "from", "binding");
        LookAtBind(bind, "to", "to_binding");
    }
    std::stable_sort(m_doubts.begin(), m_doubts.end(),
                     [](const auto& a, const auto& b) { return a.line < b.line; });
    return std::move(m_doubts);
}

void Doubter::LookAtDriver(const pugi::xml_node& driver)
{
    const std::string type = driver.attribute("type").value();
    const std::string name = driver.attribute("name").value();
    // What a library's driver is configured with is that driver's business.
    if (driver.attribute("library"))
        return;
    const DriverType* const known = FindDriverType(type);
    if (!known)
        return;
    const Schema& schema = known->schema();
    LookAtSettings(driver.child("config"), schema, type);
    LookAtState(driver.child("state"), std::string(), schema);
    m_buttons[name] = ButtonsOf(driver, schema);
    for (const pugi::xml_node& act : driver.child("device").children("act"))
        LookAtUse(act, name);
}

void Doubter::LookAtSettings(const pugi::xml_node& config, const Schema& schema,
                             const std::string& type)
{
    std::vector<std::string> known;
    for (const Setting& setting : schema.settings)
        known.emplace_back(setting.name);
    std::set<std::string> given;
    for (const pugi::xml_node& node : config.children())
    {
        const std::string name = node.name();
        const auto setting = std::find_if(schema.settings.begin(), schema.settings.end(),
                                          [&name](const Setting& row) { return name == row.name; });
        if (node.type() != pugi::node_element)
            Doubt(config, fmt::format("there is text in <config>: \"{}\"", node.value()));
        else if (setting == schema.settings.end())
            Doubt(node, fmt::format("type {} has no setting <{}>{}", type, name,
                                    DidYouMeanClause(name, known)));
        else if (!given.insert(name).second)
            Doubt(node, fmt::format("the setting <{}> is given twice", name));
        else
        {
            const auto number = NumberIn(TextOf(node));
            if (!number || *number < setting->least || *number > setting->most)
                Doubt(node, fmt::format("the setting <{}> is \"{}\", not a number from {} to {} "
                                        "({})",
                                        name, TextOf(node), setting->least, setting->most,
                                        setting->unit));
        }
    }
}

// What stands in an element of a state, or for an empty name in the state itself.
void Doubter::LookAtState(const pugi::xml_node& parent, const std::string& name,
                          const Schema& schema)
{
    std::vector<std::string> known;
    for (const StateElement& row : schema.state)
    {
        if (name == row.parent)
            known.emplace_back(row.name);
    }
    for (const pugi::xml_node& node : parent.children())
    {
        if (node.type() != pugi::node_element)
        {
            Doubt(parent,
                  fmt::format("there is text in <{}>: \"{}\"", parent.name(), node.value()));
            continue;
        }
        const auto row = std::find_if(schema.state.begin(), schema.state.end(),
                                      [&](const StateElement& element) {
                                          return name == element.parent &&
                                                 std::strcmp(node.name(), element.name) == 0;
                                      });
        if (row == schema.state.end())
            Doubt(node, fmt::format("unknown element <{}> in <{}>{}", node.name(), parent.name(),
                                    DidYouMeanClause(node.name(), known)));
        else if (row->kind == StateElement::Group)
            LookAtState(node, row->name, schema);
        else
        {
            const std::string wrong = WrongValue(*row, TextOf(node));
            if (!wrong.empty())
                Doubt(node, fmt::format("<{}> is \"{}\", {}", node.name(), TextOf(node), wrong));
        }
    }
}

Doubter::Buttons Doubter::ButtonsOf(const pugi::xml_node& driver, const Schema& schema)
{
    Buttons buttons;
    if (schema.buttonCount)
    {
        const auto given = driver.child("config").child(schema.buttonCount->name);
        buttons.count = given ? NumberIn(TextOf(given)).value_or(schema.buttonCount->usual)
                              : schema.buttonCount->usual;
        buttons.count = std::min(buttons.count, schema.buttonCount->most);
    }
    buttons.listed = schema.buttonElement != nullptr;
    buttons.contactBinding = schema.contactBinding;
    buttons.buttonBinding = schema.buttonBinding;
    if (!buttons.listed)
        return buttons;
    for (const pugi::xml_node& group : driver.child("state").children())
    {
        for (const pugi::xml_node& button : group.children(schema.buttonElement))
            buttons.numbers.insert(NumberIn(TextOf(button.child(schema.buttonNumber))).value_or(0));
    }
    return buttons;
}

void Doubter::LookAtUse(const pugi::xml_node& use, const std::string& driver)
{
    const auto found = m_buttons.find(driver);
    if (found == m_buttons.end())
        return;
    const Buttons& buttons = found->second;
    const bool contact = use.attribute("contact");
    const auto number = NumberIn(use.attribute(contact ? "contact" : "button").value());
    if (!number)
        return;
    if (contact && (buttons.listed || *number < 0 || *number > HouseFileUse::LAST_CONTACT))
        Doubt(use, fmt::format("driver \"{}\" has no contact {}", driver, *number));
    else if (!contact && buttons.listed && !buttons.Has(*number))
        Doubt(use, fmt::format("driver \"{}\" has no button {}: its <state> describes none with "
                               "that number",
                               driver, *number));
    else if (!contact && !buttons.Has(*number))
        Doubt(use, fmt::format("driver \"{}\" has no button {}: it has {}", driver, *number,
                               buttons.count));
}

// A driver without bindings of its own is a load, which is bound at 0.
void Doubter::LookAtBind(const pugi::xml_node& bind, const char* driver, const char* binding)
{
    const std::string name = bind.attribute(driver).value();
    const auto found = m_buttons.find(name);
    const auto number = NumberIn(bind.attribute(binding).value());
    if (found == m_buttons.end() || !number)
        return;
    const Buttons& buttons = found->second;
    const bool isLoad = buttons.contactBinding == 0 && buttons.buttonBinding == 0;
    const std::int64_t contact = *number - buttons.contactBinding;
    const bool isContact =
        buttons.contactBinding != 0 && contact >= 0 && contact <= HouseFileUse::LAST_CONTACT;
    const bool isButton =
        buttons.buttonBinding != 0 && buttons.Has(*number - buttons.buttonBinding);
    if (isLoad ? *number != 0 : !isContact && !isButton)
        Doubt(bind, fmt::format("driver \"{}\" has no binding {}{}", name, *number,
                                isLoad ? ": it is a load, which is bound at 0" : ""));
}
} // namespace

std::vector<HouseFileError> FindDoubts(const std::string& text)
{
    return Doubter(text).Find();
}

std::vector<HouseFileError> FindDoubtsInFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return FindDoubts(text.str());
}
} // namespace lighting_host
