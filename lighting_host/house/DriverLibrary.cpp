#include "lighting_host/house/DriverLibrary.h"

#include "NxLibDriverBases/CreateDriver.h"

#include <dlfcn.h>
#include <stdexcept>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
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
