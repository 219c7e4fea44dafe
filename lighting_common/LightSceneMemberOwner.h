#pragma once

#include "lighting_common/Export.h"

class NxZclPacket;

// What a LightSceneMember asks of the driver that owns it.
//
// The driver implements it and owns the radio path; the member never owns its owner, which must
// outlive it. Called on the driver's thread, from inside the member's operations. An implementation
// must not destroy the member there. Inside SendZclMessage it must neither start nor abort a
// synchronisation: the walk that sends goes on behind the call, with the new scenes or with none.
// Inside the two others it may. The order of the operations is part of the interface (do not
// change).
class LIGHTING_COMMON_API LightSceneMemberOwner
{
public:
    // Sends the packet to that endpoint of the light. The packet lives only until this returns. It
    // is empty when a builder gave no message; then nothing can be sent. The light's answer comes
    // to the member's IZclListener operations, later or inside this call, or never.
    virtual void SendZclMessage(NxZclPacket& packet, unsigned char endpoint) = 0;

    // The synchronisation has ended: it succeeded, was given up, or met an inconsistency. Not
    // called when the driver itself aborts. May come several times for one synchronisation, and
    // also when none runs: answers out of turn cause it. A new one may start here, unless none was
    // running: behind a call that groups out of turn have caused, the member goes on to ask for the
    // scene count.
    virtual void SynchronizationDone() = 0;

    // The light refused to store a scene; `status` is the ZCL status, never 0. Nothing is sent
    // again.
    virtual void AddSceneFailed(unsigned scene, unsigned char status, unsigned char endpoint) = 0;

protected:
    // Never deleted through this interface.
    ~LightSceneMemberOwner() = default;
};
