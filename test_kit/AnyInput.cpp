#include "test_kit/AnyInput.h"

#include <utility>

namespace test_kit
{
namespace
{
// Where numbers begin to be something else.
const std::vector<std::string> LIMITS = {
    "0",     "1",          "-1",         "2",          "99",         "100",
    "101",   "127",        "128",        "255",        "256",        "4095",
    "4096",  "65535",      "65536",      "2147483647", "2147483648", "-2147483648",
    "1e300", "4294967295", "4294967296", "1.5",        " 7",         "99999999999999999999"};

const std::vector<std::string> TEXTS = {"",       "true",   "false", "T",          "name",
                                        "ffffff", "00ff00", "<x/>",  "\"quoted\"", "\xc3\xa4",
                                        "\xff",   "%n%s%d", "nan",   "0x10"};

const std::vector<std::string> HEX_LIMITS = {"00",       "01",       "7f",       "80",
                                             "ff",       "0000",     "ffff",     "7fffffff",
                                             "80000000", "ffffffff", "00000007", "00000008"};

constexpr int LONGEST_NOISE = 40;
constexpr int MOST_PARAMS = 4;
constexpr int LONGEST_WAIT_MS = 90000;
} // namespace

Vocabulary::Vocabulary()
    : commands{"ACTIVATE_SCENE",
               "ADD_TO_SCENE",
               "BUTTON_STATUS",
               "CLEAR_ALL_GROUPS",
               "CLEAR_ALL_SCENES",
               "CLICK_BTN",
               "CLICK_CNT",
               "CONTACT_STATUS",
               "DEACTIVATE_SCENE",
               "DELETE_FROM_SCENE",
               "DELETE_KEYPAD_BUTTON",
               "GET_PROPERTIES",
               "GROUP_RAMP_TO_LEVEL",
               "GROUP_SET_LEVEL",
               "GROUP_START_RAMP",
               "GROUP_STOP_RAMP",
               "JOIN_GROUP",
               "KEYPAD_BUTTON_INFO",
               "LEAVE_GROUP",
               "MODIFY_SCENE",
               "NEW_KEYPAD_BUTTON",
               "OFF",
               "ON",
               "PRESS_BTN",
               "PRESS_CNT",
               "PUSH_SCENE",
               "RELEASE_BTN",
               "RELEASE_CNT",
               "REMOVE_SCENE",
               "RESET_ENERGY_USED",
               "SYNCHRONIZE",
               "TURN_LED_OFF",
               "TURN_LED_ON"},
      params{"AUX_BEHAVIOR",   "AUX_LEDS", "BUTTON_BEHAVIOR", "BUTTON_ID",   "BUTTON_NUMBER",
             "CONTACT_NUMBER", "FLASH",    "GROUP_ID",        "KEEP_SYNC",   "LED_BEHAVIOR",
             "LEVEL",          "NAME",     "OFF_COLOR",       "ON_COLOR",    "RAMP_UP",
             "RATE",           "SCENE_ID", "SLOTS",           "STALL_DELAY", "TIME"},
      mibs{"nx.als.ae", "nx.als.ase", "nx.als.cs",  "nx.als.gad", "nx.als.re", "nx.als.sd",
           "nx.dmx.bc", "nx.dmx.bn",  "nx.dmx.bp",  "nx.dmx.br",  "nx.dmx.cc", "nx.dmx.h",
           "nx.dmx.he", "nx.dmx.led", "nx.dmx.pwr", "nx.ldg.a",   "nx.ldg.c",  "nx.ldg.l"},
      opcodes{0x1110, 0x1280, 0x12C0, 0x13C0, 0x2110, 0x9000, 0x9010, 0x9020, 0x9030, 0x9100},
      bindings{0, 1, 2, 3, 300, 301, 302, 303, 304, 305, 306}
{
}

void Vocabulary::Add(const std::vector<std::string>& moreCommands,
                     const std::vector<std::string>& moreParams,
                     const std::vector<std::string>& moreMibs)
{
    for (int times = 4; times > 0; --times)
    {
        commands.insert(commands.end(), moreCommands.begin(), moreCommands.end());
        params.insert(params.end(), moreParams.begin(), moreParams.end());
        mibs.insert(mibs.end(), moreMibs.begin(), moreMibs.end());
    }
}

AnyInput::AnyInput(std::uint64_t seed, Vocabulary words)
    : m_random(seed, embedded_host::Draw::Random), m_words(std::move(words))
{
}

template <class T>
const T& AnyInput::OneOf(const std::vector<T>& values)
{
    return values.at(static_cast<std::size_t>(Draw(0, static_cast<int>(values.size()) - 1)));
}

std::string AnyInput::Noise()
{
    std::string text;
    for (int left = Draw(0, LONGEST_NOISE); left > 0; --left)
        text += static_cast<char>(Draw(1, 255));
    return text;
}

std::string AnyInput::Value()
{
    switch (Draw(0, 5))
    {
    case 0:
        return OneOf(TEXTS);
    case 1:
        return OneOf(LIMITS);
    case 2:
        return OneIn(3) ? Noise() : Elements();
    default:
        return std::to_string(Draw(0, 8));
    }
}

std::string AnyInput::Limit()
{
    return OneOf(LIMITS);
}

std::string AnyInput::HexValue()
{
    static const char* const DIGITS = "0123456789abcdef";
    if (OneIn(6))
        return Noise();
    if (OneIn(2))
        return OneOf(HEX_LIMITS);
    std::string text;
    for (int left = 2 * Draw(1, 4); left > 0; --left)
        text += DIGITS[Draw(0, 15)];
    return text;
}

std::string AnyInput::Elements()
{
    std::string text;
    for (int left = Draw(0, 3); left > 0; --left)
    {
        text += "<element>";
        for (const char* const name : {"delay", "level", "rate"})
        {
            if (OneIn(12))
                continue;
            const std::string value = OneIn(5) ? OneOf(LIMITS) : std::to_string(Draw(0, 100));
            text += std::string("<") + name + ">" + value + "</" + name + ">";
        }
        // One that is not closed is no XML.
        text += OneIn(15) ? "" : "</element>";
    }
    return text;
}

Input::Params AnyInput::DrawParams()
{
    Input::Params params;
    for (int left = Draw(0, MOST_PARAMS); left > 0; --left)
    {
        // In this order, so that a seed means the same everywhere.
        std::string value = Value();
        params.emplace_back(OneOf(m_words.params), std::move(value));
    }
    if (OneIn(4))
        params.emplace_back("ELEMENTS", Elements());
    return params;
}

std::vector<std::string> AnyInput::DrawHexParams()
{
    std::vector<std::string> params;
    for (int left = Draw(0, MOST_PARAMS); left > 0; --left)
        params.push_back(HexValue());
    return params;
}

Input AnyInput::Next()
{
    Input input;
    switch (Draw(0, 11))
    {
    case 0:
    case 1:
    case 2:
        return DrawCommand(Input::Kind::Command);
    case 3:
    case 4:
        return DrawPacket(Input::Kind::Trap);
    case 5:
        return DrawPacket(Input::Kind::Reply);
    case 6:
        return DrawBusMessage();
    case 7:
        return DrawCommand(Input::Kind::Condition);
    case 8:
        return OneIn(2) ? DrawBoundCall() : DrawBinding();
    case 9:
        input.kind = Input::Kind::Online;
        input.flag = !OneIn(3);
        return input;
    default:
        input.kind = Input::Kind::Time;
        input.number = OneIn(2) ? Draw(0, 2000) : Draw(0, LONGEST_WAIT_MS);
        return input;
    }
}

Input AnyInput::DrawCommand(Input::Kind kind)
{
    Input input;
    input.kind = kind;
    input.name = kind == Input::Kind::Command && OneIn(20) ? Noise() : OneOf(m_words.commands);
    input.params = DrawParams();
    return input;
}

std::string AnyInput::CommandXml()
{
    if (OneIn(5))
        return Noise();
    return "<command name=\"" + OneOf(m_words.commands) + "\"><param name=\"" +
           OneOf(m_words.params) + "\" type=\"INT\">" + std::to_string(Draw(0, 8)) +
           "</param></command>";
}

Input AnyInput::DrawBoundCall()
{
    Input input;
    input.kind = Input::Kind::BoundCall;
    input.number = OneOf(m_words.bindings);
    input.name = OneIn(4) ? "OTHER" : "PROTOCOL_COMMAND";
    input.xml = CommandXml();
    return input;
}

Input AnyInput::DrawBinding()
{
    Input input;
    input.kind = Input::Kind::Binding;
    input.number = OneOf(m_words.bindings);
    input.flag = OneIn(2);
    return input;
}

Input AnyInput::DrawPacket(Input::Kind kind)
{
    Input input;
    input.kind = kind;
    input.name = OneOf(m_words.mibs);
    input.hexParams = DrawHexParams();
    return input;
}

Input AnyInput::DrawBusMessage()
{
    Input input;
    input.kind = Input::Kind::Bus;
    input.number = OneIn(10) ? Draw(-1, 70000) : OneOf(m_words.opcodes);
    for (int left = Draw(0, 30); left > 0; --left)
        input.payload.push_back(static_cast<std::uint8_t>(Draw(0, OneIn(2) ? 3 : 255)));
    return input;
}

std::string Input::Text() const
{
    std::string given = " " + name;
    for (const auto& param : params)
        given += " " + param.first + "=" + param.second;
    for (const std::string& param : hexParams)
        given += " " + param;
    const std::string figure = std::to_string(number);
    switch (kind)
    {
    case Kind::Command:
        return "command" + given;
    case Kind::Condition:
        return "condition" + given;
    case Kind::BoundCall:
        return "bound call " + figure + given + " " + xml;
    case Kind::Binding:
        return "binding " + figure + (flag ? " made" : " broken");
    case Kind::Trap:
        return "trap" + given;
    case Kind::Reply:
        return "reply" + given;
    case Kind::Bus:
        return "bus message " + figure + " with " + std::to_string(payload.size()) + " octets";
    case Kind::Online:
        return flag ? "online" : "offline";
    default:
        return "after " + figure + " ms";
    }
}
} // namespace test_kit
