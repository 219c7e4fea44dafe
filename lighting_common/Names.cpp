#include "lighting_common/Names.h"

namespace names
{
#define LIGHTING_DEFINE_NAME(identifier, text) const std::string identifier = text;
#define LIGHTING_LIST_NAME(identifier, text) text,

namespace mib
{
LIGHTING_MIB_NAMES(LIGHTING_DEFINE_NAME)
}
namespace capability
{
LIGHTING_CAPABILITY_NAMES(LIGHTING_DEFINE_NAME)
const std::string LOAD_PRESENT = "load_present";
} // namespace capability
namespace general
{
LIGHTING_GENERAL_NAMES(LIGHTING_DEFINE_NAME)
}
namespace puck
{
LIGHTING_PUCK_NAMES(LIGHTING_DEFINE_NAME)
}
namespace condition
{
LIGHTING_CONDITION_NAMES(LIGHTING_DEFINE_NAME)
}

const std::string DRIVER_GUID = "2ee99bed-4831-4f79-9607-19b3b1220ef7";
const std::string LOGGER = "lighting_nl";

const std::vector<std::string>& AllMibs()
{
    static const std::vector<std::string> all = {LIGHTING_MIB_NAMES(LIGHTING_LIST_NAME)};
    return all;
}

const std::vector<std::string>& AllCapabilities()
{
    static const std::vector<std::string> all = {LIGHTING_CAPABILITY_NAMES(LIGHTING_LIST_NAME)};
    return all;
}

const std::vector<std::string>& AllGeneral()
{
    static const std::vector<std::string> all = {LIGHTING_GENERAL_NAMES(LIGHTING_LIST_NAME)};
    return all;
}

const std::vector<std::string>& AllPuck()
{
    static const std::vector<std::string> all = {LIGHTING_PUCK_NAMES(LIGHTING_LIST_NAME)};
    return all;
}
} // namespace names
