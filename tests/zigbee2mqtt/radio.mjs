// The radio of a Zigbee2MQTT: an adapter as zigbee-herdsman wants one, with lamps on the air instead
// of a stick. All above the adapter is what everybody runs.

import { createRequire } from "node:module";
import { CLUSTER } from "./lamp.mjs";

const require = createRequire(import.meta.url);
const { Adapter } = require("zigbee-herdsman/dist/adapter/adapter.js");
const { Waitress } = require("zigbee-herdsman/dist/utils/waitress.js");
const Zcl = require("zigbee-herdsman/dist/zspec/zcl");
const Zdo = require("zigbee-herdsman/dist/zspec/zdo");

const COORDINATOR = { ieee: "0x00124b00000000c0", address: 0 };
const HOME_AUTOMATION = 0x0104;
const DIMMABLE_LIGHT = 0x0101;
const CONFIGURATION_TOOL = 0x0005;
const NETWORK = { panID: 0x1a62, extendedPanID: "0xdddddddddddddddd", channel: 11, nwkUpdateID: 0 };
const ROUTER = 1;
const REVISION = 22;
const MANUFACTURER = 0x117c;
const NOT_THERE = 0x81;
const HOW_LONG_A_ZDO_WAITS_MS = 500;

const CLUSTERS_OF_A_LAMP = Object.values(CLUSTER);

// What a lamp says of itself when the network asks, by question.
const zdo = {
    [Zdo.ClusterId.NODE_DESCRIPTOR_REQUEST]: (lamp) => ({
        nwkAddress: lamp.address,
        logicalType: ROUTER,
        manufacturerCode: MANUFACTURER,
        serverMask: { stackComplianceRevision: REVISION },
    }),
    [Zdo.ClusterId.ACTIVE_ENDPOINTS_REQUEST]: (lamp) => ({
        nwkAddress: lamp.address,
        endpointList: [lamp.endpoint],
    }),
    [Zdo.ClusterId.SIMPLE_DESCRIPTOR_REQUEST]: (lamp) => ({
        nwkAddress: lamp.address,
        length: 0,
        endpoint: lamp.endpoint,
        profileId: HOME_AUTOMATION,
        deviceId: DIMMABLE_LIGHT,
        deviceVersion: 1,
        inClusterList: CLUSTERS_OF_A_LAMP,
        outClusterList: [],
    }),
    [Zdo.ClusterId.BIND_REQUEST]: () => undefined,
    [Zdo.ClusterId.UNBIND_REQUEST]: () => undefined,
    [Zdo.ClusterId.LEAVE_REQUEST]: () => undefined,
    [Zdo.ClusterId.PERMIT_JOINING_REQUEST]: () => undefined,
};

const zdoOfCoordinator = {
    [Zdo.ClusterId.ACTIVE_ENDPOINTS_REQUEST]: () => ({ nwkAddress: 0, endpointList: [1] }),
    [Zdo.ClusterId.SIMPLE_DESCRIPTOR_REQUEST]: () => ({
        nwkAddress: 0,
        length: 0,
        endpoint: 1,
        profileId: HOME_AUTOMATION,
        deviceId: CONFIGURATION_TOOL,
        deviceVersion: 0,
        inClusterList: [],
        outClusterList: [],
    }),
    [Zdo.ClusterId.PERMIT_JOINING_REQUEST]: () => undefined,
};

const wait = (ms) => new Promise((done) => setTimeout(done, ms));

class Radio extends Adapter {
    constructor(air, ...options) {
        super(...options);
        this.air = air;
        this.hasZdoMessageOverhead = false;
        this.manufacturerID = MANUFACTURER;
        this.answers = new Waitress(Adapter.zclWaitressValidator, Adapter.clusterWaitressTimeoutFormatter);
    }

    // --- the stick -------------------------------------------------------------------------------

    async start() {
        this.air.radio = this;
        return "resumed";
    }
    async stop() {
        this.air.radio = null;
        this.answers.clear();
    }
    async getCoordinatorIEEE() {
        return COORDINATOR.ieee;
    }
    async getCoordinatorVersion() {
        return { type: "lamps of the tests", meta: { revision: 1 } };
    }
    async reset() {}
    async supportsBackup() {
        return false;
    }
    async backup() {
        throw new Error("there is nothing to back up");
    }
    async getNetworkParameters() {
        return NETWORK;
    }
    async addInstallCode() {}
    async permitJoin() {}

    // --- from the lamps --------------------------------------------------------------------------

    hear(lamp, bytes, cluster, endpoint) {
        const payload = {
            clusterID: cluster,
            header: Zcl.Header.fromBuffer(bytes),
            address: lamp.address,
            data: bytes,
            endpoint,
            linkquality: 200,
            groupID: 0,
            wasBroadcast: false,
            destinationEndpoint: 1,
        };
        if (payload.header) this.answers.resolve(payload);
        this.emit("zclPayload", payload);
    }

    // --- to the lamps ----------------------------------------------------------------------------

    waitFor(address, endpoint, _type, _direction, sequence, cluster, command, refused, timeout) {
        const matcher = {
            address,
            endpoint,
            clusterId: cluster,
            commandId: command,
            defaultRspCommandId: refused,
            transactionSequenceNumber: sequence,
        };
        const waiter = this.answers.waitFor(matcher, timeout);
        return { cancel: () => this.answers.remove(waiter.ID), promise: waiter.start().promise };
    }

    async sendZdo(ieee, address, clusterId, _payload, disableResponse) {
        const lamp = this.air.at(address);
        const table = address === COORDINATOR.address ? zdoOfCoordinator : zdo;
        const isThere = address === COORDINATOR.address || (lamp && lamp.hasPower && lamp.ieee === ieee);
        if (disableResponse) return undefined;
        if (!isThere) {
            await wait(HOW_LONG_A_ZDO_WAITS_MS);
            throw new Error(`nobody answers at ${address}`);
        }
        const response = table[clusterId] ? [0, table[clusterId](lamp)] : [NOT_THERE, undefined];
        this.emit("zdoResponse", clusterId | 0x8000, response);
        return response;
    }

    // As the shipped adapters do it: an answer is awaited where the command has one; who has asked
    // for no default response gets nothing for others.
    async sendZclFrameToEndpoint(ieee, address, endpoint, frame, timeout, disableResponse) {
        let wanted = null;
        if (frame.command.response !== undefined && !disableResponse) wanted = frame.command.response;
        else if (!frame.header.frameControl.disableDefaultResponse) wanted = Zcl.Foundation.defaultRsp.ID;
        const sequence = frame.header.transactionSequenceNumber;
        const waiting =
            wanted === null
                ? undefined
                : this.waitFor(address, endpoint, 0, 0, sequence, frame.cluster.ID, wanted, undefined, timeout);
        this.air.at(address)?.receive(frame.cluster.ID, endpoint, frame.toBuffer());
        return waiting?.promise;
    }

    async sendZclFrameToGroup(group, frame) {
        for (const lamp of this.air.lamps.values()) lamp.receive(frame.cluster.ID, 255, frame.toBuffer(), group);
    }
    async sendZclFrameToAll(endpoint, frame) {
        for (const lamp of this.air.lamps.values()) lamp.receive(frame.cluster.ID, endpoint, frame.toBuffer());
    }

    async setChannelInterPAN() {
        throw new Error("not on this radio");
    }
    async sendZclFrameInterPANToIeeeAddr() {
        throw new Error("not on this radio");
    }
    async sendZclFrameInterPANBroadcast() {
        throw new Error("not on this radio");
    }
    async restoreChannelInterPAN() {}
}

// The lamps in reach of the radio.
export class Air {
    lamps = new Map();
    radio = null;

    add(lamp) {
        this.lamps.set(lamp.ieee, lamp);
    }

    at(address) {
        return [...this.lamps.values()].find((lamp) => lamp.address === address && lamp.isJoined);
    }

    // The lamp is new in the network, or comes back with the address that it has now; and says so to
    // all.
    join(lamp) {
        lamp.isJoined = true;
        this.radio?.emit("deviceJoined", { networkAddress: lamp.address, ieeeAddr: lamp.ieee });
        this.announce(lamp);
    }

    leave(lamp) {
        lamp.isJoined = false;
        this.radio?.emit("deviceLeave", { networkAddress: lamp.address, ieeeAddr: lamp.ieee });
    }

    // What a lamp says to all when it gets power.
    announce(lamp) {
        const capabilities = { deviceType: 1, powerSource: 1, rxOnWhenIdle: 1 };
        const payload = { nwkAddress: lamp.address, eui64: lamp.ieee, capabilities };
        this.radio?.emit("zdoResponse", Zdo.ClusterId.END_DEVICE_ANNOUNCE, [0, payload]);
    }

    hear(lamp, ...frame) {
        this.radio?.hear(lamp, ...frame);
    }

    // From now on, who asks for an adapter gets a radio with these lamps.
    install() {
        const air = this;
        Adapter.create = async (network, port, backup, options) => new Radio(air, network, port, backup, options);
    }
}
