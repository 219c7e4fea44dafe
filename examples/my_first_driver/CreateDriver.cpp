#include "NxLibDriverBases/CreateDriver.h"

#include "Doorbell.h"

// The one function that the host looks for in a driver library.
extern "C" NxBaseDriver* CreateDriver(IInstanceManager& instances)
{
    return new Doorbell(instances);
}
