// A house with real lamps as its people use it: scenes and load groups, two houses on one
// Zigbee2MQTT, records, and the commands that run one or refuse to.

import assert from "node:assert/strict";
import { spawn, spawnSync } from "node:child_process";
import { once } from "node:events";
import { writeFileSync } from "node:fs";
import path from "node:path";
import { after, before, beforeEach, test } from "node:test";
import { House, heldText, houseOf } from "./light.mjs";
import { Rig, within } from "./rig.mjs";

const SOFA = "0x00124b0000000002";
const HALL = "0x00124b0000000003";
const SCENE = `<scene id="7" name="Dinner"><load driver="sofa" level="50" time="0ms"/></scene>
<load_group id="1" name="all"><member>sofa</member></load_group>`;
const PROGRAM = process.env.LIGHTING_HOST;

const rig = new Rig();

before(async () => {
    await rig.start();
    await rig.addLamp({ ieee: SOFA, address: 0x1234 });
    await rig.addLamp({ ieee: HALL, address: 0x4321 });
});
after(() => rig.stop());
beforeEach(async () => {
    for (const lamp of [SOFA, HALL]) {
        await rig.act("clear_faults", lamp);
        await rig.act("set_tables", lamp, { groups: [], scenes: [] });
        await rig.act("set", lamp, { on: true, level: 254 });
    }
});

async function withHouse(lamps, options, use) {
    const house = await House.start(rig, lamps, options);
    try {
        return await use(house);
    } finally {
        await house.close();
    }
}

// Until the lamp is as wanted: what is sent to it takes its time.
const lampIs = (lamp, isWanted, what) => {
    const look = async () => {
        while (!isWanted(await rig.act("tables", lamp)));
    };
    return within(look(), what);
};

test("RecalledScene_AndMoves_ReachTheLamp", () =>
    withHouse({ sofa: { ieee: SOFA } }, { more: SCENE, options: [] }, async (house) => {
        await lampIs(SOFA, (held) => heldText(held).includes("7/0 50% 0s"), "the scene in the lamp");
        await house.hand({ house: "scene", id: 7 });
        await lampIs(SOFA, ({ level }) => level === 127, "the recalled scene");
        await house.picture("sofa", ({ level }) => level === 50, "its level on the page");
        await house.hand({ house: "group", id: 1, do: "level", level: 20 });
        await lampIs(SOFA, ({ level }) => level === 51, "the level of the group");
        await house.hand({ house: "level", driver: "sofa", level: 0 });
        await lampIs(SOFA, ({ on }) => !on, "the lamp to be off");
        await house.hand({ house: "group", id: 1, do: "up" });
        await lampIs(SOFA, ({ on, level }) => on && level > 60, "the lamp to brighten");
        await house.hand({ house: "group", id: 1, do: "stop" });
        const stopped = async () => (await rig.act("frames", SOFA)).frames["8/7"] === 1;
        await within((async () => { while (!(await stopped())); })(), "the lamp to be stopped");
        const { level } = await rig.act("tables", SOFA);
        assert.ok(level > 60 && level < 254);
        assert.equal((await rig.act("tables", SOFA)).level, level);
    }));

test("TablesOfTheLamp_AreShownAsItLastAnswered_AndItsDeviceIsReal", () =>
    withHouse({ sofa: { ieee: SOFA } }, { more: SCENE, options: ["--faults", "heavy"] }, async (house) => {
        const { holds, simulated, faults, facts, sync } = await house.picture(
            "sofa",
            (picture) => picture.holds.scenes?.length === 1,
            "the lamp's scene on the page",
        );
        assert.deepEqual(holds.groups, [7]);
        assert.deepEqual(holds.scenes, [{ group: 7, number: 0, level: 127, time_ms: 0 }]);
        assert.ok(holds.answered_ms > 0);
        assert.deepEqual([simulated, faults], [false, undefined]);
        assert.deepEqual(facts[0], ["real lamp", SOFA]);
        // The walk is seen both ways.
        assert.deepEqual([...new Set(sync.frames.map(({ way }) => way))].sort(), ["in", "out"]);
        await assert.rejects(house.hand({ house: "power", driver: "sofa", on: false }), /is real/);
        // What others change there is seen once the driver looks.
        await rig.act("set_tables", SOFA, { groups: [], scenes: [] });
        assert.equal((await house.program.driver("sofa")).holds.scenes.length, 1);
        await rig.act("fault", SOFA, { kind: "default_response", values: { cluster: 5, command: 0 } });
        await house.hand({ driver: "sofa", synchronize: { stall_delay_s: 0 } });
        await house.picture("sofa", (picture) => picture.holds.scenes?.length === 0, "the loss on the page");
    }));

test("TwoHousesOnOneZigbee2Mqtt_DoNotWaitForEachOther", () =>
    withHouse({ sofa: { ieee: SOFA } }, { name: "one" }, (one) =>
        withHouse({ hall: { ieee: HALL } }, { name: "two" }, async (two) => {
            const wanted = [{ id: 7, level: 50, time_ms: 0 }];
            await rig.act("fault", HALL, { kind: "never_answers" });
            await two.hand({ driver: "hall", synchronize: { stall_delay_s: 0, scenes: wanted } });
            await one.synchronize("sofa", wanted);
            await one.synchronize("sofa", wanted);
            assert.deepEqual(heldText(await rig.act("tables", SOFA)), ["7/0 50% 0s"]);
            const ownAnswers = two.heard.filter(({ call }) => call === "AddSceneFailed");
            assert.deepEqual(ownAnswers, []);
        }),
    ));

test("TwoHousesWithTheSameLamp_BothGetTheirAnswers", () =>
    withHouse({ sofa: { ieee: SOFA } }, { name: "one" }, (one) =>
        withHouse({ sofa: { ieee: SOFA } }, { name: "two" }, async (two) => {
            const wanted = [{ id: 7, level: 50, time_ms: 0 }];
            await Promise.all([one.synchronize("sofa", wanted), two.synchronize("sofa", wanted)]);
            await Promise.all([one.synchronize("sofa", wanted), two.synchronize("sofa", wanted)]);
            assert.deepEqual(heldText(await rig.act("tables", SOFA)), ["7/0 50% 0s"]);
        }),
    ));

test("Record_IsReplayedWithoutTheLamp", async () => {
    const record = path.join(rig.folder, "flight.jsonl");
    await withHouse({ sofa: { ieee: SOFA } }, { more: SCENE, options: ["--record", record] }, async (house) => {
        await lampIs(SOFA, (held) => heldText(held).includes("7/0 50% 0s"), "the scene in the lamp");
        await house.hand({ house: "scene", id: 7 });
        await house.picture("sofa", ({ level }) => level === 50, "its level on the page");
    });
    const { status, stdout, stderr } = spawnSync(PROGRAM, ["replay", record], { encoding: "utf8" });
    assert.equal(status, 0, stdout + stderr);
    assert.match(stdout, /the same/);
});

test("Book_IsKeptForGroupsThatZigbee2MqttKnows", async () => {
    const known = rig.topics.next(({ topic, text }) => topic.endsWith("bridge/groups") && text.includes("dinner"), "groups");
    await rig.publish("bridge/request/group/add", { friendly_name: "dinner", id: 7 });
    await known;
    await withHouse({ sofa: { ieee: SOFA, attributes: 'book="true"' } }, { more: SCENE, options: [] }, async () => {
        await lampIs(SOFA, (held) => heldText(held).includes("7/0 50% 0s"), "the scene in the lamp");
        const group = rig.last("bridge/groups").find(({ id }) => id === 7);
        assert.deepEqual(group.members.map(({ ieee_address: ieee }) => ieee), [SOFA]);
    });
    const gone = rig.topics.next(({ topic, text }) => topic.endsWith("bridge/groups") && !text.includes("dinner"), "groups");
    await rig.publish("bridge/request/group/remove", { id: "dinner", force: true });
    await gone;
});

const fileOf = (name, more = SCENE) => {
    const file = path.join(rig.folder, `${name}.xml`);
    writeFileSync(file, houseOf({ sofa: { ieee: SOFA } }, rig.base, more));
    return file;
};

test("RunInRealTime_ReachesTheLamp", async () => {
    const broker = `mqtt://127.0.0.1:${rig.port}`;
    const run = spawn(PROGRAM, ["run", fileOf("run"), "--zigbee2mqtt", broker, "--tell", "quiet"], { stdio: "ignore" });
    const ended = once(run, "exit");
    await lampIs(SOFA, (held) => heldText(held).includes("7/0 50% 0s"), "the scene in the lamp");
    run.kill("SIGINT");
    assert.deepEqual(await ended, [0, null]);
});

for (const command of [["run", "--virtual"], ["stdio"]]) {
    test(`VirtualTime_IsRefused (${command.join(" ")})`, () => {
        const { status, stderr } = spawnSync(PROGRAM, [...command, fileOf("virtual")], { encoding: "utf8", input: "" });
        assert.equal(status, 1);
        assert.match(stderr, /virtual\.xml:2: driver "sofa" has a lamp behind a Zigbee2MQTT/);
    });
}

test("NobodySaysWhereTheBrokerIs_IsAnError", () => {
    const { status, stderr } = spawnSync(PROGRAM, ["run", fileOf("nowhere")], { encoding: "utf8" });
    assert.equal(status, 2);
    assert.match(stderr, /--zigbee2mqtt/);
});

test("WrongElement_IsToldByValidate", () => {
    const wrong = {
        'zigbee2mqtt="sofa"': /no address of a lamp/,
        'zigbee2mqtt="0x00124b0000000002" base="a/#"': /no topic/,
        'zigbee2mqtt="0x00124b0000000002" endpoint="0"': /from 1 to 240/,
        'zigbee2mqtt="0x00124b0000000002" patience="1ms"': /100ms to 60s/,
        'zigbee2mqtt="0x00124b0000000002" book="maybe"': /neither true nor false/,
        'zigbee2mqtt="0x00124b0000000002" simulated="true"': /not simulated/,
        'zigbee2mqtt="0x00124b0000000002" groups="3"': /unknown attribute/,
    };
    for (const [attributes, message] of Object.entries(wrong)) {
        const file = path.join(rig.folder, "wrong.xml");
        writeFileSync(file, `<house><driver name="a" type="zigbee_light" id="1"><device ${attributes}/></driver></house>`);
        const { status, stdout } = spawnSync(PROGRAM, ["validate", file], { encoding: "utf8" });
        assert.equal(status, 1, attributes);
        assert.match(stdout, message);
    }
});

const validate = (name, lamps) => {
    const file = path.join(rig.folder, `${name}.xml`);
    writeFileSync(file, houseOf(lamps, rig.base));
    return { file, ...spawnSync(PROGRAM, ["validate", file], { encoding: "utf8" }) };
};

test("TwoDriversOfOneEndpointOfALamp_AreRefusedByValidateAndServe", () => {
    // One lamp, however its address is written, and wherever it is said to be.
    const other = SOFA.toUpperCase().replace("0X", "0x");
    const { file, status, stdout } = validate("twice", { one: { ieee: SOFA }, two: { ieee: other } });
    assert.equal(status, 1);
    assert.match(stdout, /twice\.xml:8: endpoint 1 of lamp 0x00124b0000000002 is driver "one"'s already/);
    const served = spawnSync(PROGRAM, ["serve", file], { encoding: "utf8" });
    assert.equal(served.status, 1);
    assert.match(served.stderr, /twice\.xml:8: endpoint 1/);
    const apart = { one: { ieee: SOFA }, two: { ieee: SOFA, attributes: 'endpoint="2"' } };
    assert.equal(validate("apart", apart).status, 0);
});

test("TimeThatIsNotTheWorlds_IsRefusedAtTheStartAndLater", () =>
    withHouse({ sofa: { ieee: SOFA } }, { name: "speed" }, async (house) => {
        for (const speed of ["60", "pause"]) {
            const { status, stderr } = spawnSync(PROGRAM, ["serve", fileOf("fast"), "--speed", speed], { encoding: "utf8" });
            assert.equal(status, 1);
            assert.match(stderr, /fast\.xml:2: driver "sofa" .* real time: not with another --speed than 1/);
        }
        const moves = [
            { house: "speed", value: 60 },
            { house: "pause" },
            { house: "step" },
            { house: "rewind", t_ms: 0 },
            { house: "break", when: { event: null } },
            { advance_ms: 1000 },
        ];
        for (const move of moves) await assert.rejects(house.hand(move), /lives in real time/);
        await house.hand({ house: "speed", value: 1 });
        const { clock, real_time: isReal } = await house.program.snapshot();
        assert.deepEqual([clock.paused, clock.speed, isReal], [false, 1, true]);
    }));
