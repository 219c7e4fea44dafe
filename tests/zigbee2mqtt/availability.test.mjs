// A lamp that loses its power without a word: Zigbee2MQTT finds out by asking it now and then, and what
// it says of that is what the driver is told.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { House } from "./light.mjs";
import { Rig } from "./rig.mjs";

const LAMP = "0x00124b0000000002";
const A_SECOND_IN_MINUTES = 1 / 60;
// Each of its questions waits ten seconds for an answer.
const LONG_MS = 60000;

const rig = new Rig("zigbee2mqtt", A_SECOND_IN_MINUTES);
let house;

before(async () => {
    await rig.start();
    await rig.addLamp({ ieee: LAMP, address: 0x1234 });
    house = await House.start(rig, { lamp: { ieee: LAMP } });
    await house.first(({ call }) => call, "the first synchronisation");
});
after(async () => {
    await house?.close();
    await rig.stop();
});

const says = (state) =>
    rig.topics.next(
        ({ topic, text }) => topic === `zigbee2mqtt/${LAMP}/availability` && JSON.parse(text).state === state,
        `a lamp that is ${state}`,
        LONG_MS,
    );

test("SilentLamp_IsOfflineWhenZigbee2MqttSaysSo_AndSynchronisedWhenItIsBack", async () => {
    const gone = says("offline");
    await rig.act("power_off", LAMP);
    await gone;
    await house.picture("lamp", ({ online }) => !online.on, "a lamp that is offline");
    const back = says("online");
    const done = house.done("lamp");
    await rig.act("power_on", LAMP);
    await back;
    await done;
    assert.equal((await house.program.driver("lamp")).online.on, true);
});
