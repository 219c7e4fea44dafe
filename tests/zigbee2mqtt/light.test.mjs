// The driver of a ZigBee light and a lamp behind a real Zigbee2MQTT: they agree, whatever either has
// been through.

import assert from "node:assert/strict";
import { after, before, beforeEach, test } from "node:test";
import { House, fewestWrites, heldText, wantedText, writesOf } from "./light.mjs";
import { Rig, within } from "./rig.mjs";
import { ALL, NOT_PLAYED, PLAYED, read, wordsOf } from "./transcripts.mjs";

const LAMP = "0x00124b0000000002";
const OTHER = "0x00124b0000000003";
const WANTED = [
    { id: 7, level: 50, time_ms: 2000 },
    { id: 0x30007, level: 0, time_ms: 0 },
    { id: 9, level: 100, time_ms: 1499 },
];

const rig = new Rig();
let house;

before(async () => {
    await rig.start();
    await rig.addLamp({ ieee: LAMP, address: 0x1234, groups: 8, scenes: 12 });
    await rig.addLamp({ ieee: OTHER, address: 0x4321 });
    house = await House.start(rig, { lamp: { ieee: LAMP }, other: { ieee: OTHER } });
    for (const lamp of ["lamp", "other"]) {
        await house.first(({ driver, call }) => driver === lamp && call, `the first synchronisation of ${lamp}`);
    }
});
after(async () => {
    await house?.close();
    await rig.stop();
});
beforeEach(async () => {
    await rig.act("clear_faults", LAMP);
    await house.empty("lamp");
    await rig.act("set_tables", LAMP, { groups: [], scenes: [] });
    await rig.act("set", LAMP, { on: true, level: 254 });
    await rig.act("frames", LAMP);
});

const tables = () => rig.act("tables", LAMP);
const scene = (group, number, level, tenths) => ({ group, number, tenths, sets: { 6: [1], 8: [level] } });

// Synchronises, and tells how many frames it took.
async function agree(scenes = WANTED, { exact = true } = {}) {
    const fewest = fewestWrites(await tables(), scenes);
    await rig.act("frames", LAMP);
    await house.synchronize("lamp", scenes);
    // A question behind the repairs: when it is answered, they have arrived.
    await house.synchronize("lamp", scenes);
    const { transcript } = await rig.act("frames", LAMP);
    assert.deepEqual(heldText(await tables()), wantedText(scenes));
    console.log(`frames that changed something: ${writesOf(transcript)}, fewest possible: ${fewest}`);
    if (exact) assert.equal(writesOf(transcript), fewest);
}

test("CleanLamp_GetsAllScenes", () => agree());

test("LampThatIsRight_IsOnlyRead", async () => {
    await agree();
    await agree();
});

test("ForeignScenes_AreRemoved", async () => {
    await rig.act("set_tables", LAMP, { groups: [7, 100], scenes: [scene(7, 9, 10, 0), scene(100, 1, 10, 0)] });
    await agree();
    assert.ok((await tables()).groups.includes(100));
});

test("LostGroup_IsJoinedAgain_WithItsScenes", async () => {
    await agree();
    await rig.raw(LAMP, "genGroups", "remove", { groupid: 7 });
    await agree();
});

test("WrongContent_IsStoredAgain", async () => {
    await agree();
    const { groups, scenes } = await tables();
    scenes[0].sets[8] = [3];
    await rig.act("set_tables", LAMP, { groups, scenes });
    await agree();
});

test("FullSceneTable_IsToldToTheDriver_AndIsRightOnceThereIsRoom", async () => {
    await rig.act("fault", LAMP, { kind: "full_scene_table", values: { entries: 1 } });
    const refused = house.next(({ call }) => call === "AddSceneFailed", "a refused scene");
    await house.synchronize("lamp", WANTED);
    assert.equal((await refused).args[1], 0x89);
    await rig.act("clear_faults", LAMP);
    await agree(WANTED, { exact: false });
});

test("FullGroupTable_IsRightOnceThereIsRoom", async () => {
    await rig.act("fault", LAMP, { kind: "full_group_table", values: { entries: 1 } });
    await house.synchronize("lamp", WANTED);
    await rig.act("clear_faults", LAMP);
    await agree(WANTED, { exact: false });
});

test("SceneRefusedByADefaultResponse_IsToldToTheDriver", async () => {
    await rig.act("fault", LAMP, { kind: "default_response", values: { cluster: 5, command: 0, status: 0x81 } });
    const refused = house.next(({ call }) => call === "AddSceneFailed", "a refused scene");
    await house.synchronize("lamp", WANTED);
    assert.equal((await refused).args[1], 0x81);
});

test("SceneRejectedWhileOff_IsToldToTheDriver", async () => {
    await rig.act("fault", LAMP, { kind: "rejects_add_scene_while_off" });
    await rig.act("set", LAMP, { on: false });
    const refused = house.next(({ call }) => call === "AddSceneFailed", "a refused scene");
    await house.synchronize("lamp", WANTED);
    assert.equal((await refused).args[1], 1);
});

test("LateAndDoubledAnswers_MisleadNobody", async () => {
    await rig.act("fault", LAMP, { kind: "answers_late", values: { every: 2, by: 150 } });
    await rig.act("fault", LAMP, { kind: "answers_twice", values: { every: 3, by: 50 } });
    await agree();
});

test("LostAnswer_DoesNotHang_NorTheNextSynchronisation", async () => {
    await rig.act("fault", LAMP, { kind: "never_answers" });
    const lost = rig.topics.next(({ topic, text }) => topic.endsWith("response/action") && text.includes("Timeout"), "");
    await house.hand({ driver: "lamp", synchronize: { stall_delay_s: 0, scenes: WANTED } });
    await lost;
    await rig.act("clear_faults", LAMP);
    // Its answer to another walk may have ended the first before its time.
    await agree(WANTED, { exact: false });
});

test("AnswerOfAnotherProgram_OrADoubledOne_IsNotPassedOn", async () => {
    const answer = rig.topics.next(({ topic }) => topic.endsWith("response/action"), "an answer");
    await house.synchronize("lamp", WANTED);
    const { text } = await answer;
    const from = house.heard.length;
    await rig.publish("bridge/response/action", text);
    await rig.publish("bridge/response/action", { ...JSON.parse(text), transaction: "somebody-1" });
    for (const nonsense of ["", "{", "[]", '{"transaction":5}', '{"transaction":"lh"}']) {
        await rig.publish("bridge/response/action", nonsense);
    }
    await agree();
    const heard = house.heard.slice(from).filter(({ error }) => error);
    assert.deepEqual(heard, []);
});

test("LampThatForgetsItsGroups_IsSynchronisedWhenItIsBack", async () => {
    await house.addToScene("lamp", 7, 50, 2000);
    await rig.act("fault", LAMP, { kind: "forgets_groups" });
    const done = house.done("lamp");
    await rig.act("power_off", LAMP);
    await rig.act("power_on", LAMP);
    await done;
    await house.synchronize("lamp");
    assert.deepEqual(heldText(await tables()), ["7/0 50% 2s"]);
    await house.hand({ driver: "lamp", command: "DELETE_FROM_SCENE", params: { SCENE_ID: 7 } });
});

test("NewNetworkAddress_IsUsed", async () => {
    const done = house.done("lamp");
    await rig.act("change_address", LAMP, { address: 0x2345 });
    await done;
    await agree();
});

test("LampThatLeaves_IsOffline_AndOnlineWhenItJoins", async () => {
    await rig.act("leave", LAMP);
    await house.picture("lamp", ({ online }) => !online.on, "a lamp that is offline");
    const done = house.done("lamp");
    await rig.act("join", LAMP);
    await done;
    assert.equal((await house.program.driver("lamp")).online.on, true);
    await agree();
});

test("StoppedZigbee2Mqtt_TakesTheLampsOffline_AndBringsThemBack", async () => {
    await rig.act("stop_bridge");
    await house.picture("other", ({ online }) => !online.on, "a lamp that is offline");
    const done = house.done("lamp");
    await rig.act("start_bridge");
    await done;
    await agree();
});

test("StateOfTheLamp_ReachesTheHouse", async () => {
    await rig.act("set", LAMP, { on: true, level: 127 });
    await house.picture("lamp", ({ level }) => level === 50, "the level of the lamp");
    const energy = async () => (await house.hand({ driver: "lamp", query: "energy" }))[0];
    const isFive = async () => JSON.stringify(await energy()).includes('"current_power":5');
    for (let left = 500; left > 0 && !(await isFive()); left--);
    assert.ok(await isFive());
    await rig.act("set", LAMP, { on: false });
    await house.picture("lamp", ({ level }) => level === 0, "a lamp that is off");
});

test("EachTranscriptOfTheDriver_IsPlayedOrHasAReason", () => {
    assert.deepEqual([...PLAYED, ...Object.keys(NOT_PLAYED)].sort(), ALL.sort());
});

for (const name of PLAYED) {
    test(`Transcript_ReachesTheLampFrameByFrame (${name})`, async () => {
        const { tables: held, inputs, frames, isOpen } = read(name);
        await rig.act("set_tables", LAMP, held);
        await rig.act("frames", LAMP);
        for (const { synchronize, command, params } of inputs) {
            if (synchronize) await house.synchronize("lamp", synchronize.scenes);
            else await house.hand({ driver: "lamp", command, params });
        }
        const arrived = [];
        const look = async () => {
            while (arrived.length < frames.length) {
                const { transcript } = await rig.act("frames", LAMP);
                arrived.push(...transcript.flatMap(wordsOf));
            }
        };
        await within(look(), `${frames.length} frames, and not only ${arrived}`);
        assert.deepEqual(isOpen ? arrived.slice(0, frames.length) : arrived, frames);
    });
}
