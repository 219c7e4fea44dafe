#include "lighting_host/house/HouseFile.h"

#include "lighting_host/house/DriverLibrary.h"
#include "lighting_host/house/HouseElements.h"
#include "lighting_host/types/Devices.h"
#include "lighting_host/types/DriverType.h"
#include "lighting_host/types/zigbee_light/RemoteLight.h"
#include "nxshared/XmlDocument.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <tuple>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <pugixml.hpp>

namespace lighting_host
{
namespace
{
constexpr unsigned MOST_PERCENT = 100;
// What the checksum of a dimmer's scenes covers.
constexpr unsigned LAST_SCENE = 254;
constexpr unsigned LAST_BINDING = 65535;

// As a fragment, so that text beside the root element is seen instead of skipped. On purpose not
// the host's own: how a house file is read is no matter of how a driver's XML is.
constexpr unsigned PARSE =
    pugi::parse_cdata | pugi::parse_escapes | pugi::parse_ws_pcdata_single | pugi::parse_fragment;

pugi::xml_node NextElement(pugi::xml_node node)
{
    do
        node = node.next_sibling();
    while (node && node.type() != pugi::node_element);
    return node;
}

// The element inside `node` at that place, from 0; `node` itself when the place is below 0.
pugi::xml_node ElementAt(const pugi::xml_node& node, int place)
{
    for (const pugi::xml_node& child : node.children())
        if (child.type() == pugi::node_element && place-- == 0)
            return child;
    return node;
}

// Reads one house; collects what is wrong instead of stopping at the first mistake.
class Reader : private HouseElements
{
public:
    Reader(const std::string& text, std::string folder)
        : HouseElements(text, m_house.errors), m_text(text), m_folder(std::move(folder))
    {
    }

    HouseFile Read()
    {
        ReadHouse();
        std::stable_sort(m_house.errors.begin(), m_house.errors.end(),
                         [](const auto& a, const auto& b) { return a.line < b.line; });
        return std::move(m_house);
    }

private:
    void ReadHouse();
    boost::shared_ptr<nx::XmlNode> Copy(const pugi::xml_node& node);
    void ReadDriver(const pugi::xml_node& node);
    void ReadDriverChild(const pugi::xml_node& child, HouseFileDriver& driver);
    void ReadDevice(const pugi::xml_node& node, const HouseFileDriver& driver);
    void ReadType(const pugi::xml_node& node, HouseFileDriver& driver);
    void ReadGroup(const pugi::xml_node& node);
    void ReadGroupAct(const pugi::xml_node& node, HouseFileGroup& group);
    void ReadBind(const pugi::xml_node& node);
    bool IsBound(const HouseFileBind& bind) const;
    void ReadScene(const pugi::xml_node& node);
    void ReadLoad(const pugi::xml_node& node, HouseFileScene& scene);
    HouseFileUse ReadUse(const pugi::xml_node& node);
    void CheckNames();
    void CheckName(int line, const std::string& name, const char* lack,
                   bool (*can)(const DriverType& type));

    const std::string& m_text;
    std::string m_folder;
    HouseFile m_house;
    // The drivers' types by their names.
    std::map<std::string, std::string> m_types;
    std::set<unsigned> m_ids;
    // Lamps that are not simulated, and whose they are.
    std::map<std::string, std::string> m_lamps;
    std::set<unsigned> m_groups;
    std::set<unsigned> m_scenes;
    // Drivers that are named before all are known: where, by what name, and what they are named
    // for.
    enum class Role
    {
        Member,
        Load,
        Buttons,
        Bound,
    };
    struct Naming
    {
        int line;
        std::string name;
        Role role;
    };
    std::vector<Naming> m_namings;
};

void Reader::ReadHouse()
{
    const auto nul = m_text.find('\0');
    pugi::xml_document document;
    const auto result =
        document.load_buffer(m_text.data(), m_text.size(), PARSE, pugi::encoding_utf8);
    if (!result || nul != std::string::npos)
    {
        const bool hasNul = nul != std::string::npos;
        m_house.errors.push_back(
            {LineOf(hasNul ? static_cast<std::ptrdiff_t>(nul) : result.offset),
             fmt::format("this is no XML: {}", hasNul ? "it has a NUL" : result.description())});
        return;
    }
    const pugi::xml_node root = document.document_element();
    if (!root)
    {
        m_house.errors.push_back({1, "this is no XML: it has no element"});
        return;
    }
    if (const pugi::xml_node text = document.find_child(&HouseElements::IsText))
        ErrorInText(text, fmt::format("this is no XML: there is text beside <{}>", root.name()));
    if (const pugi::xml_node second = NextElement(root))
        Error(second, fmt::format("this is no XML: <{}> is a second root", second.name()));
    if (std::strcmp(root.name(), "house") != 0)
    {
        Error(root, fmt::format("the root element is <{}>, not <house>", root.name()));
        return;
    }
    OnlyAttributes(root, {});
    OnlyElements(root);
    for (const pugi::xml_node& child : root.children())
    {
        if (child.type() != pugi::node_element)
            continue;
        if (std::strcmp(child.name(), "driver") == 0)
            ReadDriver(child);
        else if (std::strcmp(child.name(), "load_group") == 0)
            ReadGroup(child);
        else if (std::strcmp(child.name(), "scene") == 0)
            ReadScene(child);
        else if (std::strcmp(child.name(), "bind") == 0)
            ReadBind(child);
        else
            Error(child, fmt::format("unknown element <{}> in <house>", child.name()));
    }
    CheckNames();
}

boost::shared_ptr<nx::XmlNode> Reader::Copy(const pugi::xml_node& node)
{
    std::ostringstream text;
    node.print(text, "", pugi::format_raw, pugi::encoding_utf8);
    const auto copy = nx::CreateXmlDocument(text.str());
    if (!copy)
    {
        Error(node, fmt::format("<{}> goes too deep", node.name()));
        return nullptr;
    }
    return copy->GetRoot();
}

void Reader::ReadDriver(const pugi::xml_node& node)
{
    OnlyAttributes(node, {"name", "type", "id", "library", "room"});
    OnlyElements(node);
    HouseFileDriver driver;
    driver.line = LineOf(node);
    driver.name = node.attribute("name").value();
    driver.room = node.attribute("room").value();
    if (driver.name.empty())
        Error(node, "a <driver> needs a name");
    else if (!m_types.emplace(driver.name, node.attribute("type").value()).second)
        Error(node, fmt::format("there is another driver named \"{}\"", driver.name));
    if (ReadId(node, driver.id) && !m_ids.insert(driver.id).second)
        Error(node, fmt::format("there is another driver with the id {}", driver.id));
    ReadType(node, driver);
    for (const pugi::xml_node& child : node.children())
    {
        if (child.type() == pugi::node_element)
            ReadDriverChild(child, driver);
    }
    if (driver.device)
        ReadDevice(node.child("device"), driver);
    m_house.drivers.push_back(std::move(driver));
}

void Reader::ReadDevice(const pugi::xml_node& node, const HouseFileDriver& driver)
{
    int child = -1;
    const std::string wrong = CheckDevice(driver, &child);
    if (!wrong.empty())
        return Error(ElementAt(node, child), wrong);
    if (!IsRemoteLight(*driver.device))
        return;
    // Two drivers would undo each other's work for ever.
    const std::string lamp = RemoteLightName(*driver.device);
    const auto [other, isNew] = m_lamps.emplace(lamp, driver.name);
    if (!isNew)
        Error(node, fmt::format("{} is driver \"{}\"'s already", lamp, other->second));
}

void Reader::ReadType(const pugi::xml_node& node, HouseFileDriver& driver)
{
    driver.type = node.attribute("type").value();
    const std::string library = node.attribute("library").value();
    if (!library.empty())
    {
        // Absolute: the loader looks for a bare name in the system's folders instead.
        driver.library =
            std::filesystem::absolute(std::filesystem::path(m_folder) / library).string();
    }
    if (driver.type.empty())
        Error(node, "a <driver> needs a type");
    else if (node.attribute("library"))
    {
        if (library.empty() || !std::filesystem::is_regular_file(driver.library))
            Error(node, fmt::format("there is no driver library \"{}\"", library));
    }
    else if (!FindDriverType(driver.type))
        Error(node, fmt::format("unknown driver type \"{}\"; there are {}, and any other with a "
                                "library of its own",
                                driver.type, fmt::join(DriverTypeNames(), ", ")));
}

void Reader::ReadDriverChild(const pugi::xml_node& child, HouseFileDriver& driver)
{
    const std::string name = child.name();
    if (name == "capability")
    {
        OnlyAttributes(child, {"name"});
        OnlyText(child);
        if (!child.attribute("name"))
            Error(child, "a <capability> needs a name");
        driver.capabilities.emplace_back(child.attribute("name").value(), child.child_value());
        return;
    }
    if (name == "device")
    {
        if (driver.device)
            Error(child, "a second <device> in <driver>");
        bool simulated = false;
        if (ReadTruth(child, "simulated", simulated) &&
            (simulated || child.attribute("zigbee2mqtt")))
            driver.device = Copy(child);
        return;
    }
    if (name != "config" && name != "state")
    {
        Error(child, fmt::format("unknown element <{}> in <driver>", name));
        return;
    }
    boost::shared_ptr<nx::XmlNode>& target = name == "config" ? driver.config : driver.state;
    if (target)
        Error(child, fmt::format("a second <{}> in <driver>", name));
    else
        target = Copy(child);
}

void Reader::ReadGroup(const pugi::xml_node& node)
{
    OnlyAttributes(node, {"id", "name"});
    OnlyElements(node);
    HouseFileGroup group;
    group.name = node.attribute("name").value();
    if (ReadId(node, group.id) && !m_groups.insert(group.id).second)
        Error(node, fmt::format("there is another load group with the id {}", group.id));
    for (const pugi::xml_node& child : node.children())
    {
        if (child.type() != pugi::node_element)
            continue;
        if (std::strcmp(child.name(), "on") == 0)
        {
            ReadGroupAct(child, group);
            continue;
        }
        if (std::strcmp(child.name(), "member") != 0)
        {
            Error(child, fmt::format("unknown element <{}> in <load_group>", child.name()));
            continue;
        }
        OnlyAttributes(child, {});
        OnlyText(child);
        if (std::count(group.members.begin(), group.members.end(), child.child_value()) > 0)
            Error(child, fmt::format("\"{}\" is a member of this load group already",
                                     child.child_value()));
        group.members.emplace_back(child.child_value());
        m_namings.push_back({LineOf(child), child.child_value(), Role::Member});
    }
    m_house.groups.push_back(std::move(group));
}

// <on driver="hall" button="2" do="press" level="40" time="3s"/> or with ramp="up|down|stop"
void Reader::ReadGroupAct(const pugi::xml_node& node, HouseFileGroup& group)
{
    OnlyAttributes(node, {"driver", "button", "contact", "do", "level", "time", "ramp"});
    OnlyElements(node);
    HouseFileGroupAct act;
    act.use = ReadUse(node);
    const std::string ramp = node.attribute("ramp").value();
    if (ramp.empty())
    {
        ReadNumber(node, "level", MOST_PERCENT, act.level);
        ReadTime(node, "time", act.timeMs);
    }
    else if (node.attribute("level") || node.attribute("time"))
        Error(node, "<on> has both a level or time and a ramp");
    else if (ramp == "up")
        act.what = HouseFileGroupAct::RampUp;
    else if (ramp == "down")
        act.what = HouseFileGroupAct::RampDown;
    else if (ramp == "stop")
        act.what = HouseFileGroupAct::StopRamp;
    else
        Error(node, fmt::format("\"ramp\" of <on> is \"{}\", not up, down or stop", ramp));
    group.acts.push_back(std::move(act));
}

// <bind from="hall" binding="1" to="lamp" to_binding="0"/>
void Reader::ReadBind(const pugi::xml_node& node)
{
    OnlyAttributes(node, {"from", "binding", "to", "to_binding"});
    OnlyElements(node);
    HouseFileBind bind;
    bind.from = node.attribute("from").value();
    bind.to = node.attribute("to").value();
    for (const std::string& name : {bind.from, bind.to})
        m_namings.push_back({LineOf(node), name, Role::Bound});
    if (!bind.from.empty() && bind.from == bind.to)
        Error(node, fmt::format("\"{}\" is bound to itself", bind.from));
    const bool numbers = ReadNumber(node, "binding", LAST_BINDING, bind.binding) &&
                         ReadNumber(node, "to_binding", LAST_BINDING, bind.toBinding);
    if (numbers && IsBound(bind))
        Error(node, fmt::format("binding {} of \"{}\" and binding {} of \"{}\" are bound already",
                                bind.binding, bind.from, bind.toBinding, bind.to));
    m_house.binds.push_back(std::move(bind));
}

// The same two ends, whichever comes first.
bool Reader::IsBound(const HouseFileBind& bind) const
{
    const auto same = [&bind](const HouseFileBind& other)
    {
        const auto from = std::tie(bind.from, bind.binding);
        const auto to = std::tie(bind.to, bind.toBinding);
        const auto otherFrom = std::tie(other.from, other.binding);
        const auto otherTo = std::tie(other.to, other.toBinding);
        return (from == otherFrom && to == otherTo) || (from == otherTo && to == otherFrom);
    };
    return std::any_of(m_house.binds.begin(), m_house.binds.end(), same);
}

void Reader::ReadScene(const pugi::xml_node& node)
{
    OnlyAttributes(node, {"id", "name"});
    OnlyElements(node);
    HouseFileScene scene;
    scene.name = node.attribute("name").value();
    if (scene.name.empty())
        Error(node, "a <scene> needs a name");
    if (ReadNumber(node, "id", LAST_SCENE, scene.id))
    {
        if (scene.id == 0)
            Error(node, "the id of a <scene> is not 0");
        else if (!m_scenes.insert(scene.id).second)
            Error(node, fmt::format("there is another scene with the id {}", scene.id));
    }
    for (const pugi::xml_node& child : node.children())
    {
        if (child.type() != pugi::node_element)
            continue;
        if (std::strcmp(child.name(), "load") == 0)
            ReadLoad(child, scene);
        else if (std::strcmp(child.name(), "on") == 0)
        {
            OnlyAttributes(child, {"driver", "button", "contact", "do"});
            OnlyElements(child);
            scene.uses.push_back(ReadUse(child));
        }
        else
            Error(child, fmt::format("unknown element <{}> in <scene>", child.name()));
    }
    m_house.scenes.push_back(std::move(scene));
}

// <load driver="sofa" level="40" time="2s" delay="1s"/>
void Reader::ReadLoad(const pugi::xml_node& node, HouseFileScene& scene)
{
    OnlyAttributes(node, {"driver", "level", "time", "delay"});
    OnlyElements(node);
    HouseFileLoad load;
    load.driver = node.attribute("driver").value();
    m_namings.push_back({LineOf(node), load.driver, Role::Load});
    ReadNumber(node, "level", MOST_PERCENT, load.level);
    ReadTime(node, "time", load.timeMs);
    ReadTime(node, "delay", load.delayMs);
    scene.loads.push_back(std::move(load));
}

// The use of a button that an <on> is about.
HouseFileUse Reader::ReadUse(const pugi::xml_node& node)
{
    HouseFileUse use;
    use.driver = node.attribute("driver").value();
    m_namings.push_back({LineOf(node), use.driver, Role::Buttons});
    use.contact = !node.attribute("contact").empty();
    if (use.contact == !node.attribute("button").empty())
        Error(node, "<on> says neither which contact nor which button, or both");
    else
        ReadNumber(node, use.contact ? "contact" : "button",
                   use.contact ? HouseFileUse::LAST_CONTACT : HouseFileUse::LAST_BUTTON,
                   use.number);
    const std::string how = node.attribute("do").value();
    if (how == "release")
        use.how = HouseFileUse::Release;
    else if (how == "click")
        use.how = HouseFileUse::Click;
    else if (!how.empty() && how != "press")
        Error(node, fmt::format("\"do\" of <on> is \"{}\", not press, release or click", how));
    return use;
}

// Drivers may be named before they come, so the names are looked at when all drivers are known.
void Reader::CheckNames()
{
    for (const Naming& naming : m_namings)
    {
        if (naming.role == Role::Load)
            CheckName(naming.line, naming.name, "keeps no scenes",
                      [](const DriverType& type) { return type.keepsScenes; });
        else if (naming.role == Role::Buttons)
            CheckName(naming.line, naming.name, "has no buttons",
                      [](const DriverType& type) { return type.isUse != nullptr; });
        else
            CheckName(naming.line, naming.name, "", nullptr);
    }
}

// That a driver of that name is there, of a type that can do what is wanted of it, if anything is.
void Reader::CheckName(int line, const std::string& name, const char* lack,
                       bool (*can)(const DriverType& type))
{
    const auto named = m_types.find(name);
    if (named == m_types.end())
        m_house.errors.push_back({line, fmt::format("there is no driver named \"{}\"", name)});
    else if (const DriverType* const type = FindDriverType(named->second);
             can && !(type && can(*type)))
        m_house.errors.push_back({line, fmt::format("driver \"{}\" {}", name, lack)});
}
} // namespace

HouseFile ParseHouseFile(const std::string& text, const std::string& folder)
{
    return Reader(text, folder).Read();
}

namespace
{
void TryLibraries(HouseFile& house)
{
    for (const HouseFileDriver& driver : house.drivers)
    {
        if (driver.library.empty())
            continue;
        try
        {
            const DriverLibrary library(driver.library);
        }
        catch (const std::runtime_error& error)
        {
            house.errors.push_back({driver.line, error.what()});
        }
    }
}
} // namespace

void ForgetStart(HouseFile& house)
{
    for (HouseFileDriver& driver : house.drivers)
    {
        driver.state.reset();
        driver.device.reset();
    }
}

HouseFile ReadHouseFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string text;
    std::array<char, 65536> block;
    while (file.read(block.data(), block.size()) || file.gcount() > 0)
        text.append(block.data(), static_cast<std::size_t>(file.gcount()));
    // A folder can be opened but not read, which sets the bad bit.
    if (!file.is_open() || file.bad())
    {
        HouseFile unread;
        unread.errors.push_back({0, fmt::format("cannot be read: {}", std::strerror(errno))});
        return unread;
    }
    HouseFile house = ParseHouseFile(text, std::filesystem::path(path).parent_path().string());
    house.path = path;
    if (house.errors.empty())
        TryLibraries(house);
    return house;
}
} // namespace lighting_host
