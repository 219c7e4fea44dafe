#include "lighting_common/Names.h"

#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{
using Names = std::vector<std::string>;

// The vocabulary, written down once more and by itself: kind by kind, in its own order.
const Names MIBS = {"nx.dmx.blc",  "nx.sy.zpw",  "nx.dmx.pwr", "nx.dmx.pmti", "nx.dmx.amb",
                    "nx.dmx.dim",  "nx.dm.sl",   "nx.dm.tv",   "nx.dmx.key",  "nx.dm.rtl",
                    "nx.dm.tc",    "nx.dm.tp",   "nx.dmx.off", "nx.dmx.ndim", "nx.dmx.plm",
                    "nx.dmx.btn",  "nx.dmx.led", "nx.dmx.bmc", "nx.dmx.rbp",  "nx.dmx.bp",
                    "nx.dmx.hb",   "nx.dmx.hc",  "nx.dmx.he",  "nx.dmx.sc",   "nx.dmx.cc",
                    "nx.als.sga",  "nx.als.sgt", "nx.als.sad", "nx.als.srm",  "nx.als.sra",
                    "nx.als.sac",  "nx.als.sgo", "nx.als.sst", "nx.als.ssr",  "nx.als.skr",
                    "nx.als.rvt",  "nx.als.sln", "nx.als.gad", "nx.als.grm",  "nx.als.gra",
                    "nx.als.grtl", "nx.als.gsr", "nx.als.gkr", "nx.als.ggt"};

const Names CAPABILITIES = {"dimmer",
                            "zero_ten_volt",
                            "on_off",
                            "set_level",
                            "ramp_level",
                            "click_rates",
                            "supports_default_on",
                            "hold_rates",
                            "cold_start",
                            "has_leds",
                            "min_max",
                            "supports_broadcast_scenes",
                            "supports_multichannel_scenes",
                            "has_keypad",
                            "has_load",
                            "number_of_loads",
                            "reduced_als_support",
                            "advanced_scene_support",
                            "on_color",
                            "off_color",
                            "max_power",
                            "+min_power",
                            "can_change_phases",
                            "nominal_voltages"};

const Names GENERAL = {"GET_PROPERTIES",
                       "GET_LIGHT_LEVEL",
                       "TOGGLE",
                       "PROTOCOL_COMMAND",
                       "ADD_DRIVER_COLOR_PRESET",
                       "MODIFY_DRIVER_COLOR_PRESET",
                       "DELETE_DRIVER_COLOR_PRESET",
                       "GET_CONNECTED_STATE",
                       "SET_CLICK_RATE_UP",
                       "SET_CLICK_RATE_DOWN",
                       "SET_HOLD_RATE_UP",
                       "SET_HOLD_RATE_DOWN",
                       "SET_MIN_ON_LEVEL",
                       "SET_MAX_ON_LEVEL",
                       "SET_COLD_START_TIME",
                       "SET_COLD_START_LEVEL",
                       "SET_PRESET_LEVEL",
                       "GET_DIMMING_MODE",
                       "SET_ALL_LED",
                       "SET_BUTTON_COLOR",
                       "SET_LOAD_TYPE",
                       "SET_AUTO_OFF",
                       "RESTART_AUTO_OFF",
                       "SET_PREVIOUS_ON_LEVEL",
                       "RESET_ENERGY_USED",
                       "ERROR_MESSAGE",
                       "NUMBER_BUTTONS",
                       "ONLINE_CHANGED",
                       "CAN_CHANGE_PHASES",
                       "SWITCH_LEG_MODE",
                       "DIMMING_ON_SWITCH_LEG_WARNING",
                       "SWITCH_ON_SWITCH_LEG_WARNING",
                       "AMBIENT_LIGHT_LEVEL",
                       "CLICK_COUNT",
                       "LOAD_ON",
                       "LOAD_OFF",
                       "IS_LEVEL",
                       "BUTTON_PRESSED",
                       "BUTTON_RELEASED",
                       "BUTTON_NOT_COLOR",
                       "BUTTON_USING_ON_COLOR",
                       "BUTTON_USING_OFF_COLOR",
                       "IS_BRIGHTNESS_CURRENT",
                       "IS_BRIGHTNESS_TARGET",
                       "IS_COLOR_CURRENT",
                       "IS_COLOR_TARGET",
                       "LIGHT_STATE",
                       "RATE",
                       "BUTTON_ID",
                       "ENGRAVING",
                       "CURRENT_COLOR",
                       "PUSH_SETTINGS",
                       "SCENE_ID",
                       "MEMBER_ID",
                       "ELEMENT_ID",
                       "SEQUENCE_NUMBER",
                       "GROUP_ID",
                       "KEEP_SYNC",
                       "RAMP_UP",
                       "BUTTON_BEHAVIOR",
                       "LED_BEHAVIOR",
                       "LED_BLINK_BEHAVIOR",
                       "SLOTS",
                       "BINDING",
                       "LOCK_COLORS",
                       "MIN_BRIGHTNESS",
                       "MAX_BRIGHTNESS",
                       "MIN_LUX",
                       "MAX_LUX",
                       "BACKLIGHT_CURVE",
                       "ARC_FAULT",
                       "LOAD_NUMBER",
                       "PRESET_NAME",
                       "PRESET_ID",
                       "PRESET_COLOR_X",
                       "PRESET_COLOR_Y",
                       "PRESET_COLOR_MODE",
                       "PRESET_COLOR_HUE",
                       "PRESET_COLOR_SATURATION",
                       "COLOR_STR",
                       "MATCH_LED_STATE",
                       "REQUEST_BUTTON_COLORS",
                       "DO_RELEASE",
                       "DO_PUSH",
                       "DO_CLICK",
                       "Rocker Top Button",
                       "Rocker Bottom Button",
                       "NEW_KEYPAD_BUTTON",
                       "DELETE_KEYPAD_BUTTON",
                       "KEYPAD_BUTTON_INFO",
                       "KEYPAD_BUTTON_ACTION",
                       "KEYPAD_BUTTON_COLOR",
                       "KEYPAD_ALL_BUTTON_COLOR",
                       "LED_BEHAVIOR_NAME",
                       "WATTS",
                       "MINUTES_ON",
                       "MINUTES_ON_TODAY",
                       "MINUTES_OFF",
                       "CURRENT_POWER",
                       "ENERGY_USED_TODAY",
                       "RESET_DEVICE",
                       "FAULT_DETECTED",
                       "FAULT_DETECTED_LOAD_1",
                       "FAULT_DETECTED_LOAD_2",
                       "ADD_TO_SCENE",
                       "MODIFY_SCENE",
                       "DELETE_FROM_SCENE",
                       "EXECUTE_SCENE",
                       "EXECUTE_OFF_SCENE",
                       "SYNCHRONIZE",
                       "SYNC_LINKS",
                       "SYNCHRONIZATION_DONE",
                       "DEACTIVATE_SCENE",
                       "TOGGLE_SCENE",
                       "GET_SCENE",
                       "GET_ALL_SCENES",
                       "REMOVE_SCENE",
                       "CLEAR_ALL_SCENES",
                       "RAMP_SCENE_UP",
                       "RAMP_SCENE_DOWN",
                       "STOP_SCENE_RAMP",
                       "PUSH_SCENE",
                       "ALL_SCENES_PUSHED",
                       "PUSH_FAILURE",
                       "ELEMENTS",
                       "FLASH",
                       "IGNORE_RAMP",
                       "FROM_GROUP",
                       "DELAY",
                       "NEXT_ID",
                       "FLAGS",
                       "JOIN_GROUP",
                       "LEAVE_GROUP",
                       "CLEAR_ALL_GROUPS",
                       "SET_GROUP_SYNC",
                       "GROUP_RAMP_TO_LEVEL",
                       "GROUP_SET_LEVEL",
                       "GROUP_START_RAMP",
                       "GROUP_STOP_RAMP",
                       "GROUP_JOIN_SCENE",
                       "GROUP_LEAVE_SCENE",
                       "SET_MODULE_OVERRIDE_LEVEL",
                       "GET_DIMMABLE",
                       "GET_STATE",
                       "OPEN",
                       "CLOSE",
                       "TRIGGER",
                       "JUST_BOUND",
                       "POWER_BOOST",
                       "EXTERNAL_RELAY",
                       "UNBIND_FROM_MODULE",
                       "AUTO_OFF_TIME",
                       "PREVIOUS_ON_LEVEL_ENABLED",
                       "485_BEGIN_IDENTIFY",
                       "485_CANCEL_IDENTIFY",
                       "485_IDENTIFY_MESSAGE",
                       "IDENTIFY_FAILED",
                       "IDENTIFY_SUCCESS",
                       "485_BUS_MESSAGE",
                       "485_FAILOVER_ADD",
                       "485_BUS_ONLINE",
                       "FALLBACK_INFO",
                       "DEVICE_TYPE",
                       "DEVICE_ID",
                       "BUS_ID",
                       "SUBNET_ID",
                       "MAC_ADDRESS_485_BUS",
                       "OPCODE",
                       "PAYLOAD",
                       "LOAD_NUMBER_CHANGED",
                       "MIN_ON_CHANGED",
                       "MAX_ON_CHANGED",
                       "HOLD_RAMP_RATE_UP",
                       "HOLD_RAMP_RATE_DOWN",
                       "CHANNEL_OVERRIDE_LEVEL",
                       "SET_TOP_LED_ON",
                       "SET_TOP_LED_OFF",
                       "SET_BOTTOM_LED_ON",
                       "SET_BOTTOM_LED_OFF",
                       "SET_TOGGLE_LED_ON",
                       "SET_TOGGLE_LED_OFF",
                       "ONLINE_STATUS",
                       "BUTTON_PRESS",
                       "GET_VITAL_PROPERTIES",
                       "LIGHT_LEVEL_CHANGED",
                       "PRESET_LEVEL_CHANGED",
                       "COLORS_VALID",
                       "START_ON_CHANGED",
                       "START_TIME_CHANGED",
                       "SET_CLICK_RAMP_RATE_UP",
                       "SET_CLICK_RAMP_RATE_DOWN",
                       "CLICK_TOP_BUTTON",
                       "PUSH_TOP_BUTTON",
                       "RELEASE_TOP_BUTTON",
                       "CLICK_TOGGLE_BUTTON",
                       "PUSH_TOGGLE_BUTTON",
                       "RELEASE_TOGGLE_BUTTON",
                       "CLICK_BOTTOM_BUTTON",
                       "PUSH_BOTTOM_BUTTON",
                       "RELEASE_BOTTOM_BUTTON",
                       "ENERGY_DATA"};

const Names PUCK = {"PRESS_",
                    "RELEASE_",
                    "CLICK_",
                    "State",
                    "ALL_CONTACTS",
                    "BUTTON_LINK",
                    "Aux ",
                    "AUXILIARY",
                    "BUTTON_NUMBER",
                    "CONTACT_NUMBER",
                    "VIRTUAL_COLOR",
                    "TOP_ON_COLOR",
                    "TOP_OFF_COLOR",
                    "BOTTOM_ON_COLOR",
                    "BOTTOM_OFF_COLOR",
                    "NUM_BUTTONS",
                    "BUTTON_STATUS",
                    "LED_MANAGED",
                    "FOLLOW_BOUND_COLOR",
                    "LED_ON_COLOR",
                    "LED_OFF_COLOR",
                    "LED_CUR_COLOR",
                    "CURRENT_STATE",
                    "CONTROL_BOUND",
                    "BACKLIGHT_COLOR",
                    "MIN_BACKLIGHT_LVL",
                    "MAX_BACKLIGHT_LVL",
                    "CONTACT_STATUS",
                    "AUX_LEDS",
                    "AUX_BEHAVIOR",
                    "PRESS_BTN",
                    "RELEASE_BTN",
                    "CLICK_BTN",
                    "PRESS_CNT",
                    "RELEASE_CNT",
                    "CLICK_CNT",
                    "TURN_LED_ON",
                    "TURN_LED_OFF",
                    "SET_ON_COLOR",
                    "SET_OFF_COLOR",
                    "SET_CUR_COLOR",
                    "SET_ALL_ON_COLOR",
                    "SET_ALL_OFF_COLOR",
                    "SET_ALL_CUR_COLOR",
                    "CNT_HOLD_BEGIN",
                    "CNT_HOLD_CONTINUE",
                    "CNT_HOLD_END",
                    "CNT_MULTI_CLICK_BUTTON",
                    "HOLD_INTERVAL",
                    "0000b0"};

bool HasRepeats(const Names& all)
{
    return std::set<std::string>(all.begin(), all.end()).size() != all.size();
}
} // namespace

TEST(Names, Mibs_AreThe44InOrder)
{
    EXPECT_EQ(names::AllMibs().size(), 44u);
    EXPECT_EQ(names::AllMibs(), MIBS);
    EXPECT_FALSE(HasRepeats(names::AllMibs()));
}

TEST(Names, Capabilities_AreThe24InOrder)
{
    EXPECT_EQ(names::AllCapabilities().size(), 24u);
    EXPECT_EQ(names::AllCapabilities(), CAPABILITIES);
    EXPECT_FALSE(HasRepeats(names::AllCapabilities()));
}

TEST(Names, GeneralNames_AreThe201InOrder)
{
    EXPECT_EQ(names::AllGeneral().size(), 201u);
    EXPECT_EQ(names::AllGeneral(), GENERAL);
    EXPECT_FALSE(HasRepeats(names::AllGeneral()));
}

TEST(Names, PuckNames_AreThe50InOrder)
{
    EXPECT_EQ(names::AllPuck().size(), 50u);
    EXPECT_EQ(names::AllPuck(), PUCK);
    EXPECT_FALSE(HasRepeats(names::AllPuck()));
}

TEST(Names, ConstantsOfThePuckFamily_HoldTheirTexts)
{
    const Names constants = {names::mib::DMX_BTN, names::mib::DMX_LED, names::mib::DMX_BMC,
                             names::mib::DMX_RBP, names::mib::DMX_BP,  names::mib::DMX_HB,
                             names::mib::DMX_HC,  names::mib::DMX_HE,  names::mib::DMX_SC,
                             names::mib::DMX_CC};
    const Names texts = {"nx.dmx.btn", "nx.dmx.led", "nx.dmx.bmc", "nx.dmx.rbp", "nx.dmx.bp",
                         "nx.dmx.hb",  "nx.dmx.hc",  "nx.dmx.he",  "nx.dmx.sc",  "nx.dmx.cc"};
    EXPECT_EQ(constants, texts);
}

// These carry blanks, a sign or digits that an identifier cannot have.
TEST(Names, ConstantsWithOddTexts_HoldThemByteForByte)
{
    EXPECT_EQ(names::capability::MIN_POWER, "+min_power");
    EXPECT_EQ(names::capability::LOAD_PRESENT, "load_present");
    EXPECT_EQ(names::general::ROCKER_TOP_BUTTON, "Rocker Top Button");
    EXPECT_EQ(names::general::BUS_485_BUS_MESSAGE, "485_BUS_MESSAGE");
    EXPECT_EQ(names::puck::AUX_PREFIX, "Aux ");
    EXPECT_EQ(names::puck::PRESS_PREFIX, "PRESS_");
    EXPECT_EQ(names::puck::STATE, "State");
    EXPECT_EQ(names::puck::DEFAULT_COLOR, "0000b0");
    EXPECT_EQ(names::condition::ON, "ON");
    EXPECT_EQ(names::condition::OFF, "OFF");
    EXPECT_EQ(names::LOGGER, "lighting_nl");
    EXPECT_EQ(names::DRIVER_GUID, "2ee99bed-4831-4f79-9607-19b3b1220ef7");
}
