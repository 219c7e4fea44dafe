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

OneDriverHouse::Params AnyInput::DrawParams()
{
    OneDriverHouse::Params params;
    for (int left = Draw(0, MOST_PARAMS); left > 0; --left)
        params.emplace_back(OneOf(m_words.params), Value());
    if (OneIn(4))
        params.emplace_back("ELEMENTS", Elements());
    return params;
}

Lines AnyInput::DrawHexParams()
{
    Lines params;
    for (int left = Draw(0, MOST_PARAMS); left > 0; --left)
        params.push_back(HexValue());
    return params;
}

Input AnyInput::Next()
{
    switch (Draw(0, 11))
    {
    case 0:
    case 1:
    case 2:
        return DrawCommand();
    case 3:
    case 4:
        return DrawTrap();
    case 5:
        return DrawReply();
    case 6:
        return DrawBusMessage();
    case 7:
        return DrawCondition();
    case 8:
        return OneIn(2) ? DrawBoundCall() : DrawBinding();
    case 9:
        return DrawOnline();
    default:
        return DrawTime();
    }
}

Input AnyInput::DrawCommand()
{
    const std::string name = OneIn(20) ? Noise() : OneOf(m_words.commands);
    const OneDriverHouse::Params params = DrawParams();
    std::string text = "command " + name;
    for (const auto& param : params)
        text += " " + param.first + "=" + param.second;
    return {text, [name, params](OneDriverHouse& house)
            {
                house.Command(name, params);
            }};
}

Input AnyInput::DrawCondition()
{
    const std::string name = OneOf(m_words.commands);
    const OneDriverHouse::Params params = DrawParams();
    return {"condition " + name, [name, params](OneDriverHouse& house)
            {
                house.Condition(name, params);
            }};
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
    const unsigned binding = OneOf(m_words.bindings);
    const std::string kind = OneIn(4) ? "OTHER" : "PROTOCOL_COMMAND";
    const std::string xml = CommandXml();
    return {"bound call " + std::to_string(binding) + " " + kind + " " + xml,
            [=](OneDriverHouse& house)
            {
                house.BoundCall(binding, kind, xml);
            }};
}

Input AnyInput::DrawBinding()
{
    const unsigned id = OneOf(m_words.bindings);
    const bool bound = OneIn(2);
    return {"binding " + std::to_string(id) + (bound ? " made" : " broken"),
            [=](OneDriverHouse& house)
            {
                house.Binding(id, "BUTTON_LINK", bound);
            }};
}

Input AnyInput::DrawTrap()
{
    const std::string mib = OneOf(m_words.mibs);
    const Lines params = DrawHexParams();
    std::string text = "trap " + mib;
    for (const std::string& param : params)
        text += " " + param;
    return {text, [mib, params](OneDriverHouse& house)
            {
                house.Trap(mib, params);
            }};
}

Input AnyInput::DrawReply()
{
    const std::string mib = OneOf(m_words.mibs);
    const Lines params = DrawHexParams();
    std::string text = "reply " + mib;
    for (const std::string& param : params)
        text += " " + param;
    return {text, [mib, params](OneDriverHouse& house)
            {
                house.Reply(mib, params);
            }};
}

Input AnyInput::DrawBusMessage()
{
    const int opcode = OneIn(10) ? Draw(-1, 70000) : OneOf(m_words.opcodes);
    std::vector<std::uint8_t> payload;
    for (int left = Draw(0, 30); left > 0; --left)
        payload.push_back(static_cast<std::uint8_t>(Draw(0, OneIn(2) ? 3 : 255)));
    return {"bus message " + std::to_string(opcode) + " with " + std::to_string(payload.size()) +
                " octets",
            [opcode, payload](OneDriverHouse& house)
            {
                house.Bus(opcode, payload);
            }};
}

Input AnyInput::DrawOnline()
{
    const bool online = !OneIn(3);
    return {online ? "online" : "offline", [online](OneDriverHouse& house)
            {
                house.Online(online);
            }};
}

Input AnyInput::DrawTime()
{
    const int ms = OneIn(2) ? Draw(0, 2000) : Draw(0, LONGEST_WAIT_MS);
    return {"after " + std::to_string(ms) + " ms", [ms](OneDriverHouse& house)
            {
                house.Advance(std::chrono::milliseconds(ms));
            }};
}
} // namespace test_kit
