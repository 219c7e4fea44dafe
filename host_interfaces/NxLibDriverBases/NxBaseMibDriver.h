#pragma once

#include "NxLibDriverBases/NxBaseDriver.h"
#include "nxshared/HostApi.h"

#include <string>

#include <boost/shared_ptr.hpp>

class MibDispatcher;
class NxMIBPacket;

// A device's online status (wire values of the host, do not change).
enum DeviceStatus : int
{
    DEVICE_ONLINE = 0,
    DEVICE_OFFLINE = 1,
};

// The base of a driver that talks to its device in MIB packets.
class NX_HOST_API NxBaseMibDriver : public NxBaseDriver
{
public:
    // What to do with a packet while the device is offline (wire value of the host).
    static constexpr int QUEUE_RULE_DEFAULT = 0;

    // The protocol of devices that are sent MIB packets (wire value of the host).
    static constexpr int PROTOCOL_MIB = 1;

    // `protocol` is the host's code of the device's protocol: PROTOCOL_MIB.
    NxBaseMibDriver(IInstanceManager& instances, NxDriverType type, int protocol);

    // Called when the device's online status is reported, repeated or not. The two texts are the
    // host's own and may be empty. An override calls its base first; this base does nothing.
    virtual void OnMIBDeviceOnlineStatusChanged(DeviceStatus status, const std::string& detail,
                                                const std::string& address);

    MibDispatcher& GetMibDispatcher();

protected:
    // Sends a packet to the device; null is ignored. `queueRule` is QUEUE_RULE_DEFAULT. The reply
    // comes later, to the response handler of the packet's id, or never.
    void SendMibPacket(const boost::shared_ptr<NxMIBPacket>& packet, int queueRule);

    // Asks the host to read the device's own information again.
    void QueryDeviceInfo();
};
