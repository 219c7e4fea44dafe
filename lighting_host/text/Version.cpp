#include "lighting_host/text/Version.h"

#include <LightingCommit.h>

namespace lighting_host
{

std::string ProgramVersion()
{
    return LIGHTING_VERSION;
}

std::string ProgramCommit()
{
    return LIGHTING_COMMIT;
}

std::string VersionLine()
{
    const std::string commit = ProgramCommit();
    return "lighting-host " + ProgramVersion() + " (host protocol 1" +
           (commit.empty() ? "" : ", commit " + commit) + ")";
}

} // namespace lighting_host
