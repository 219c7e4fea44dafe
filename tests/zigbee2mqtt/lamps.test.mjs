// The lamps behind a real Zigbee2MQTT, asked frame by frame: what a driver's questions get, and how
// the lamps misbehave. Octets are those of the ZigBee Cluster Library.

import assert from "node:assert/strict";
import { after, before, beforeEach, test } from "node:test";
import { Rig } from "./rig.mjs";

const LAMP = "0x00124b0000000002";
const OTHER = "0x00124b0000000003";
const ADDRESS = 0x1234;

const rig = new Rig();

before(async () => {
    await rig.start();
    await rig.addLamp({ ieee: LAMP, address: ADDRESS, groups: 4, scenes: 5 });
    await rig.addLamp({ ieee: OTHER, address: 0x4321 });
});
after(() => rig.stop());
beforeEach(async () => {
    await rig.act("clear_faults", LAMP);
    await rig.act("set_tables", LAMP, { groups: [], scenes: [] });
    await rig.act("set", LAMP, { on: true, level: 254 });
});

const addGroup = (group) => rig.raw(LAMP, "genGroups", "add", { groupid: group, groupname: "" });
const addScene = (group, scene, level, seconds) =>
    rig.raw(LAMP, "genScenes", "add", {
        groupid: group,
        sceneid: scene,
        transtime: seconds,
        scenename: "",
        extensionfieldsets: [
            { clstId: 6, len: 1, extField: [level ? 1 : 0] },
            { clstId: 8, len: 1, extField: [level] },
        ],
    });
const viewScene = (group, scene) => rig.raw(LAMP, "genScenes", "view", { groupid: group, sceneid: scene });
const groups = () => rig.raw(LAMP, "genGroups", "getMembership", { groupcount: 0, grouplist: [] });
const scenesOf = (group) => rig.raw(LAMP, "genScenes", "getSceneMembership", { groupid: group });

test("GroupsAndScenes_AreReadBackAsWritten", async () => {
    assert.deepEqual((await addGroup(7)).octets, [0, 0, 7, 0]);
    assert.deepEqual((await addScene(7, 3, 120, 2)).octets, [0, 0, 7, 0, 3]);
    assert.deepEqual((await groups()).octets, [2, 3, 1, 7, 0]);
    assert.deepEqual((await scenesOf(7)).octets, [6, 0, 4, 7, 0, 1, 3]);
    assert.deepEqual((await viewScene(7, 3)).octets, [1, 0, 7, 0, 3, 2, 0, 0, 6, 0, 1, 1, 8, 0, 1, 120]);
    const count = await rig.raw(LAMP, "genScenes", "read", [{ attrId: 0 }], { general: true });
    assert.deepEqual(count.octets, [1, 0, 0, 0, 0x20, 1]);
});

test("SceneOfAGroupNotJoined_IsRefused", async () => {
    assert.deepEqual((await addScene(9, 1, 100, 0)).octets, [0, 0x85, 9, 0, 1]);
    assert.deepEqual((await viewScene(9, 1)).octets, [1, 0x85, 9, 0, 1]);
});

test("RemovedGroup_TakesItsScenes", async () => {
    await addGroup(7);
    await addScene(7, 3, 120, 2);
    assert.deepEqual((await rig.raw(LAMP, "genGroups", "remove", { groupid: 7 })).octets, [3, 0, 7, 0]);
    assert.deepEqual((await rig.act("tables", LAMP)).scenes, []);
});

test("FullTables_RefuseMore", async () => {
    await rig.act("fault", LAMP, { kind: "full_group_table", values: { entries: 1 } });
    await rig.act("fault", LAMP, { kind: "full_scene_table", values: { entries: 1 } });
    assert.deepEqual((await addGroup(1)).octets, [0, 0, 1, 0]);
    assert.deepEqual((await addGroup(2)).octets, [0, 0x89, 2, 0]);
    assert.deepEqual((await addScene(1, 1, 50, 0)).octets, [0, 0, 1, 0, 1]);
    assert.deepEqual((await addScene(1, 2, 50, 0)).octets, [0, 0x89, 1, 0, 2]);
});

test("ForgetfulLamp_HasNoGroupsAfterAPowerCut", async () => {
    await addGroup(7);
    await rig.act("fault", LAMP, { kind: "forgets_groups" });
    await rig.act("power_off", LAMP);
    await rig.act("power_on", LAMP);
    assert.deepEqual((await groups()).octets, [2, 4, 0]);
});

test("LateAnswer_IsAwaited", async () => {
    await rig.act("fault", LAMP, { kind: "answers_late", values: { by: 200 } });
    const asked = Date.now();
    assert.equal((await groups()).status, "ok");
    assert.ok(Date.now() - asked >= 200);
});

test("LampThatNeverAnswers_IsAnErrorAfterTheTimeAsked", async () => {
    await rig.act("fault", LAMP, { kind: "never_answers" });
    const { status, error } = await rig.raw(LAMP, "genGroups", "getMembership", { groupcount: 0, grouplist: [] },
        { timeout: 200 });
    assert.equal(status, "error");
    assert.match(error, /Timeout after 200ms/);
});

test("DoubledAnswer_IsGivenOnce", async () => {
    await rig.act("fault", LAMP, { kind: "answers_twice", values: { by: 50 } });
    const before = rig.topics.heard.length;
    await groups();
    await rig.act("clear_faults", LAMP);
    // By now the second has passed.
    await rig.act("fault", LAMP, { kind: "answers_late", values: { by: 100 } });
    await scenesOf(0);
    const answers = rig.topics.heard.slice(before).filter(({ topic }) => topic.endsWith("response/action"));
    assert.equal(answers.length, 2);
});

test("DefaultResponse_ComesAsAnAnswerThatIsOk", async () => {
    await rig.act("fault", LAMP, { kind: "default_response", values: { status: 0x81 } });
    assert.deepEqual(await groups(), { status: "ok", error: undefined, octets: [0x0b, 2, 0x81] });
});

test("SceneWhileOff_IsRejectedByALampOfThatKind", async () => {
    await rig.act("fault", LAMP, { kind: "rejects_add_scene_while_off" });
    await addGroup(7);
    await rig.act("set", LAMP, { on: false });
    assert.deepEqual((await addScene(7, 1, 10, 0)).octets, [0, 1, 7, 0, 1]);
    await rig.act("set", LAMP, { on: true });
    assert.deepEqual((await addScene(7, 1, 10, 0)).octets, [0, 0, 7, 0, 1]);
});

test("NewNetworkAddress_IsPublished_AndTheOldOneHasNobody", async () => {
    const isKnown = rig.topics.next(
        ({ topic, text }) => topic.endsWith("bridge/devices") && text.includes(`"network_address":${0x7777}`),
        "the new address",
    );
    await rig.act("change_address", LAMP, { address: 0x7777 });
    await isKnown;
    assert.equal((await groups()).status, "ok");
    await rig.act("change_address", LAMP, { address: ADDRESS });
    // Zigbee2MQTT's devices are as they were until it says otherwise.
    const late = await rig.raw(LAMP, "genGroups", "getMembership", { groupcount: 0, grouplist: [] }, { timeout: 100 });
    assert.equal(late.status, "error");
});

test("LampThatLeaves_IsNoDeviceAnyMore_UntilItJoins", async () => {
    const isDevice = () => rig.last("bridge/devices").some((device) => device.ieee_address === OTHER);
    const changed = (fits) => rig.topics.next(({ topic }) => topic.endsWith("bridge/devices") && fits(), "devices");
    const left = changed(() => !isDevice());
    await rig.act("leave", OTHER);
    await left;
    const joined = changed(isDevice);
    await rig.act("join", OTHER);
    await joined;
});

test("RecalledScene_AndItsPower_ArePublished", async () => {
    await addGroup(7);
    await addScene(7, 0, 127, 0);
    const isWanted = ({ power, brightness, state }) => power === 5 && brightness === 127 && state === "ON";
    const state = rig.topics.next(
        ({ topic, text }) => topic === `${rig.base}/${LAMP}` && isWanted(JSON.parse(text)),
        "the state of the lamp",
    );
    const { status } = await rig.raw(LAMP, "genScenes", "recall", { groupid: 7, sceneid: 0, transitionTime: 0xffff });
    assert.equal(status, "ok");
    await state;
});

test("StoppedBridge_SaysSo_AndKnowsTheLampWhenItIsBack", async () => {
    const state = (wanted) =>
        rig.topics.next(({ topic, text }) => topic.endsWith("bridge/state") && text.includes(wanted), "bridge/state");
    const gone = state("offline");
    await rig.act("stop_bridge");
    await gone;
    const back = state("online");
    await rig.act("start_bridge");
    await back;
    assert.deepEqual((await groups()).octets, [2, 4, 0]);
});
