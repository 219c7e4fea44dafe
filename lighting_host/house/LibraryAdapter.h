#pragma once

#include "lighting_host/types/DriverAdapter.h"

#include <functional>
#include <string>

class IDriverFacts;

namespace nx
{
class DriverHost;
}

namespace lighting_host
{
class DriverLibrary;

// The facts and queries of a driver whose library has them (see DriverFacts.h), as the program asks
// for those of its own drivers. What the driver throws is an InputError that names it.
class LibraryAdapter : public DriverAdapter
{
public:
    // `library` made, or will make, the driver. Both must outlive this.
    LibraryAdapter(nx::DriverHost& driver, const DriverLibrary& library);

    Action PrepareFact(const std::string& name, const Json& value) override;
    bool Query(const std::string& word, Fields& fields, Json& value) override;

private:
    void Ask(const char* operation, const std::string& subject,
             const std::function<void(IDriverFacts&)>& ask) const;

    nx::DriverHost& m_driver;
    const DriverLibrary& m_library;
};
} // namespace lighting_host
