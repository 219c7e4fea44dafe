#include "lighting_host/commands/SaveWatch.h"

namespace lighting_host
{
SaveWatch::SaveWatch(const SessionOptions& options) : m_options(options)
{
    m_options.complain = [this, passOn = options.complain](const std::string& what)
    {
        m_failed = true;
        if (passOn)
            passOn(what);
    };
}
} // namespace lighting_host
