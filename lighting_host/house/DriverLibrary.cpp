#include "lighting_host/house/DriverLibrary.h"

#include "NxLibDriverBases/CreateDriver.h"
#include "NxLibDriverBases/DriverFacts.h"

#include <dlfcn.h>
#include <stdexcept>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// What is wrong with the object's facts and queries, which it need not have.
std::string FactsError(void* object)
{
    const auto* const version = static_cast<const unsigned*>(dlsym(object, "NxDriverFactsVersion"));
    const bool exported = dlsym(object, "GetDriverFacts") != nullptr;
    if (!version && !exported)
        return std::string();
    if (!version || *version != NX_DRIVER_FACTS_VERSION)
        return fmt::format("exports facts of version {}, this program has version {}: build it "
                           "again with this program's headers",
                           version ? *version : 0, NX_DRIVER_FACTS_VERSION);
    return exported ? std::string() : "says that it has facts but does not export GetDriverFacts";
}

// What is wrong with the object's version of the interface, in words; empty when it is ours.
std::string VersionError(void* object)
{
    const auto* const version =
        static_cast<const unsigned*>(dlsym(object, "NxDriverInterfaceVersion"));
    if (!version)
        return "does not say for which version of the driver interface it was built: include "
               "NxLibDriverBases/CreateDriver.h where CreateDriver is defined, and build it again";
    if (*version == NX_DRIVER_INTERFACE_VERSION)
        return std::string();
    return fmt::format("was built for version {} of the driver interface, this program has version "
                       "{}: build it again with this program's headers",
                       *version, NX_DRIVER_INTERFACE_VERSION);
}
} // namespace

DriverLibrary::DriverLibrary(const std::string& path)
    : m_object(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
{
    if (!m_object)
        throw std::runtime_error(fmt::format("cannot load the driver library: {}", dlerror()));
    std::string error = VersionError(m_object);
    m_create = reinterpret_cast<decltype(&CreateDriver)>(dlsym(m_object, "CreateDriver"));
    if (error.empty() && !m_create)
        error = "does not export CreateDriver";
    m_facts = reinterpret_cast<decltype(&GetDriverFacts)>(dlsym(m_object, "GetDriverFacts"));
    if (error.empty())
        error = FactsError(m_object);
    if (error.empty())
        return;
    dlclose(m_object);
    throw std::runtime_error(fmt::format("the driver library {} {}", path, error));
}

DriverLibrary::~DriverLibrary()
{
    dlclose(m_object);
}
} // namespace lighting_host
