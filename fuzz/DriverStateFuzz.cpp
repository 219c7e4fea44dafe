// Any kept state for a driver of any type: it starts, is used, and what it then gives as its state
// is kept over restarts.
//
// The first line names the type by its first letter (p, g, z, w, e). Each other line is one element
// of the state: as many dots as it is deep, its name, a blank, its text.

#include "embedded_host/House.h"
#include "embedded_host/Messages.h"
#include "fuzz/DriverRun.h"
#include "fuzz/Fuzzing.h"
#include "lighting_common/Names.h"
#include "lighting_host/types/DriverType.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlDocument.h"

#include <algorithm>

namespace
{
using namespace fuzzing;

constexpr std::size_t MOST_LINES = 200;
constexpr std::size_t MOST_DEPTH = 20;

// An element's name with what no name may have left out.
std::string Name(const std::string& text)
{
    std::string name;
    for (const char c : text)
    {
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_')
            name += c;
    }
    return name.empty() ? "X" : name;
}

boost::shared_ptr<nx::XmlNode> Tree(const std::vector<std::string>& lines)
{
    const auto root = nx::CreateXmlNode();
    root->Initialize("state", "");
    std::vector<boost::shared_ptr<nx::XmlNode>> path = {root};
    for (std::size_t i = 1; i < lines.size(); ++i)
    {
        const std::size_t dots = std::min(lines[i].find_first_not_of('.'), lines[i].size());
        const std::string line = lines[i].substr(dots);
        const std::size_t blank = std::min(line.find(' '), line.size());
        const auto element = nx::CreateXmlNode();
        element->Initialize(Name(line.substr(0, blank)),
                            line.substr(std::min(blank + 1, line.size())));
        path.resize(std::min({dots + 1, path.size(), MOST_DEPTH}));
        path.back()->AddChild(element);
        path.push_back(element);
    }
    return root;
}

// The state as it comes from a file: written as text and read again.
boost::shared_ptr<nx::XmlNode> Kept(const nx::XmlNode& state)
{
    const auto document = nx::CreateXmlDocument(state.ToText());
    Require(document != nullptr);
    // Blanks between elements may be lost when they are read, but then no more.
    const std::string text = document->GetRoot()->ToText();
    const auto again = nx::CreateXmlDocument(text);
    Require(again != nullptr);
    RequireSame(again->GetRoot()->ToText(), text);
    return document->GetRoot();
}

const std::string& Type(char letter)
{
    static const std::vector<std::string> types = lighting_host::DriverTypeNames();
    for (const std::string& type : types)
    {
        if (type[0] == letter)
            return type;
    }
    return types.front();
}

void Command(DriverRun& run, const std::string& name, const char* param, long long value)
{
    embedded_host::CmdMessage message(name);
    message.AddParam(param, "INT", value);
    run.Host().Command(message, CmdDispatcher::CONTROLLER);
}

// A little of everything that looks at what was in the state.
void Use(DriverRun& run)
{
    using namespace names;
    NxMIBPacket press(NxMIB::Trap, mib::DMX_BP);
    press.AddHexParam<int>(7);
    NxMIBPacket click(NxMIB::Trap, mib::DMX_SC);
    click.AddHexParam<int>(1);
    run.Host().Online(true);
    run.Host().Trap(press);
    run.Host().Trap(click);
    run.Host().BindingMade(1, puck::BUTTON_LINK, true);
    run.Host().BindingMade(300, puck::BUTTON_LINK, true);
    run.Input("{\"light_level\":40}");
    run.Input("{\"button\":{\"index\":0,\"action\":\"send_settings\"}}");
    run.Input("{\"button\":{\"id\":1,\"action\":\"remote_click\"}}");
    run.Input("{\"button\":{\"id\":1,\"action\":\"send_settings\"}}");
    run.Fact("load_on", "true");
    run.Fact("power_watts", "60");
    run.Fact("auto_update_energy", "true");
    run.Fact("energy_wh", "1");
    Command(run, general::GET_PROPERTIES, "X", 0);
    Command(run, general::MODIFY_SCENE, "SCENE_ID", 5);
    Command(run, general::KEYPAD_BUTTON_INFO, "BUTTON_ID", 1);
    run.Advance(200000);
    run.Host().Online(false);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzzing::Quick quick;
    const auto lines = Split(Text(data, size), '\n', MOST_LINES);
    if (lines.empty() || lines.front().empty())
        return 0;
    lighting_host::HouseFileDriver driver;
    driver.type = Type(lines.front()[0]);
    driver.config =
        nx::CreateXmlDocument("<config><NUM_BUTTONS>3</NUM_BUTTONS></config>")->GetRoot();
    driver.state = Kept(*Tree(lines));
    DriverRun run(std::move(driver), lines.front().size() > 1);
    run.RequireStateKept();
    Use(run);
    run.RequireStateKept();
    return 0;
}
