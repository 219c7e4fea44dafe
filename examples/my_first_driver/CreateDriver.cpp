#include "NxLibDriverBases/CreateDriver.h"

#include "Doorbell.h"
#include "NxLibDriverBases/DriverFacts.h"

// The one function that the host needs in a driver library.
extern "C" NxBaseDriver* CreateDriver(IInstanceManager& instances)
{
    return new Doorbell(instances);
}

// And one that it can do without: what a doorbell can be told and asked.
extern "C" IDriverFacts* GetDriverFacts(NxBaseDriver& driver)
{
    return dynamic_cast<Doorbell*>(&driver);
}
