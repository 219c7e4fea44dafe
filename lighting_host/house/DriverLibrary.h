#pragma once

#include <string>

class IDriverFacts;
class IInstanceManager;
class NxBaseDriver;

namespace lighting_host
{
// A shared object that makes drivers of a type of its own (see CreateDriver.h). Must outlive its
// drivers.
class DriverLibrary
{
public:
    // Loads the object. Throws std::runtime_error, with the loader's own words, when it cannot be
    // loaded, was built for another version of an interface or does not export CreateDriver.
    explicit DriverLibrary(const std::string& path);
    ~DriverLibrary();
    DriverLibrary(const DriverLibrary&) = delete;
    DriverLibrary& operator=(const DriverLibrary&) = delete;

    // A new driver; the caller owns it.
    NxBaseDriver* Create(IInstanceManager& instances) const { return m_create(instances); }

    // The facts and queries of a driver that it made; null when it has none.
    IDriverFacts* FactsOf(NxBaseDriver& driver) const
    {
        return m_facts ? m_facts(driver) : nullptr;
    }

    // Whether its drivers may have facts and queries.
    bool HasFacts() const { return m_facts != nullptr; }

private:
    void* m_object;
    // Null when it exports none.
    IDriverFacts* (*m_facts)(NxBaseDriver&);
    NxBaseDriver* (*m_create)(IInstanceManager&);
};
} // namespace lighting_host
