#include "lighting_host/house/DriverLibrary.h"

#include "NxLibDriverBases/CreateDriver.h"

#include <dlfcn.h>
#include <stdexcept>

#include <fmt/format.h>

namespace lighting_host
{
DriverLibrary::DriverLibrary(const std::string& path)
    : m_object(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
{
    if (!m_object)
        throw std::runtime_error(fmt::format("cannot load the driver library: {}", dlerror()));
    m_create = reinterpret_cast<decltype(&CreateDriver)>(dlsym(m_object, "CreateDriver"));
    if (m_create)
        return;
    dlclose(m_object);
    throw std::runtime_error(fmt::format("{} does not export CreateDriver", path));
}

DriverLibrary::~DriverLibrary()
{
    dlclose(m_object);
}
} // namespace lighting_host
