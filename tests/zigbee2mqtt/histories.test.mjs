// Whatever a lamp behind a real Zigbee2MQTT has been through: once it behaves, it soon holds what is
// wanted, and nothing else. HISTORIES says how many random histories (10 by default, 500 for a long
// run), HISTORIES_SEED which (1 by default).

import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { House, fewestWrites, heldText, walkOf, walkWrites, wantedText } from "./light.mjs";
import { Rig } from "./rig.mjs";

const LAMP = "0x00124b0000000002";
const HISTORIES = Number(process.env.HISTORIES ?? 10);
const SEED = Number(process.env.HISTORIES_SEED ?? 1);
// With room for everything that is wanted and everything that was there.
const TABLE = 24;
const GROUPS = [1, 2, 7, 255, 256, 0x1234, 0xfff7];
const NUMBERS = [0, 1, 127, 255];
const TIMES = [0, 400, 499, 500, 1000, 1499, 1500, 65535000];
const FAULTS = [
    ["never_answers", { every: 3 }],
    ["never_answers", { every: 1 }],
    ["answers_late", { every: 2, by: 150 }],
    ["answers_late", { every: 3, by: 600 }],
    ["answers_twice", { every: 2, by: 40 }],
    ["full_group_table", { entries: 2 }],
    ["full_scene_table", { entries: 3 }],
    ["default_response", { every: 4, status: 0x81 }],
    ["default_response", { cluster: 5, command: 0, status: 1 }],
    ["rejects_add_scene_while_off", {}],
    ["forgets_groups", {}],
];

const rig = new Rig();
let house;

before(async () => {
    await rig.start();
    await rig.addLamp({ ieee: LAMP, address: 0x1234, groups: TABLE, scenes: TABLE });
    house = await House.start(rig, { lamp: { ieee: LAMP } });
    await house.first(({ call }) => call, "the first synchronisation");
});
after(async () => {
    await house?.close();
    await rig.stop();
});

// Numbers from 0 to less than 1 that a seed repeats.
function drawing(seed) {
    let state = seed * 0x9e3779b9;
    return () => {
        state = (state + 0x6d2b79f5) | 0;
        let mixed = Math.imul(state ^ (state >>> 15), 1 | state);
        mixed = (mixed + Math.imul(mixed ^ (mixed >>> 7), 61 | mixed)) ^ mixed;
        return ((mixed ^ (mixed >>> 14)) >>> 0) / 2 ** 32;
    };
}

class History {
    constructor(seed) {
        this.draw = drawing(seed);
    }

    below(count) {
        return Math.floor(this.draw() * count);
    }
    one(list) {
        return list[this.below(list.length)];
    }

    // Up to `most` places of scenes, each once.
    places(most) {
        const places = new Map();
        for (let left = this.below(most + 1); left > 0; left--) {
            const place = { group: this.one(GROUPS), number: this.one(NUMBERS) };
            places.set(`${place.group}/${place.number}`, place);
        }
        return [...places.values()];
    }

    wanted() {
        return this.places(8).map(({ group, number }) => ({
            id: group + number * 65536,
            level: this.below(101),
            time_ms: this.one(TIMES),
        }));
    }

    tables() {
        const scenes = this.places(6).map((place) => {
            const level = this.below(255);
            const sets = this.below(4) ? { 6: [level ? 1 : 0], 8: [level] } : { 8: [level] };
            return { ...place, tenths: this.below(4) * 10, sets };
        });
        const groups = new Set([...scenes.map(({ group }) => group), this.one(GROUPS)]);
        return { groups: [...groups], scenes };
    }

    faults() {
        return Array.from({ length: this.below(4) }, () => this.one(FAULTS));
    }
}

const tables = () => rig.act("tables", LAMP);

// A while in which everything may go wrong: nobody waits for an end that need not come.
async function suffer(history) {
    for (const [kind, values] of history.faults()) await rig.act("fault", LAMP, { kind, values });
    for (let times = 1 + history.below(2); times > 0; times--) {
        const answer = rig.topics.next(({ topic }) => topic.endsWith("response/action"), "an answer or an error");
        await house.hand({ driver: "lamp", synchronize: { stall_delay_s: 0, scenes: history.wanted() } });
        await answer;
        if (history.below(3) === 0) await rig.act("set", LAMP, { on: history.below(2) === 0 });
        if (history.below(4) === 0) {
            await rig.act("power_off", LAMP);
            await rig.act("power_on", LAMP);
        }
    }
}

async function recover(wanted) {
    await rig.act("clear_faults", LAMP);
    await rig.act("set", LAMP, { on: true });
    // The answer to a question of before may end the first before its time.
    let times = 0;
    do {
        times += 1;
        await house.synchronize("lamp", wanted);
        await rig.raw(LAMP, "genScenes", "read", [{ attrId: 0 }], { general: true });
    } while (times < 4 && !same(await tables(), wanted));
    return times;
}

const same = (held, wanted) => JSON.stringify(heldText(held)) === JSON.stringify(wantedText(wanted));

const add = (sum, more) => {
    for (const [name, count] of Object.entries(more)) sum[name] = (sum[name] ?? 0) + count;
};
const total = ({ joins, stores, removes }) => joins + stores + removes;

test(`LampWithAnyPast_HoldsWhatIsWanted_WithNoFrameBeyondTheWalk (${HISTORIES} histories)`, async (context) => {
    const used = {};
    const asked = {};
    let fewest = 0;
    let most = 0;
    for (let at = 0; at < HISTORIES; at++) {
        const history = new History(SEED * 100000 + at);
        await rig.act("clear_faults", LAMP);
        await rig.act("set_tables", LAMP, history.tables());
        await suffer(history);
        most = Math.max(most, await recover(history.wanted()));
        const wanted = history.wanted();
        const before = await tables();
        fewest += fewestWrites(before, wanted);
        add(asked, walkWrites(before, wanted));
        await rig.act("frames", LAMP);
        await recover(wanted);
        const walk = walkOf((await rig.act("frames", LAMP)).transcript);
        assert.deepEqual(heldText(await tables()), wantedText(wanted), `history ${at} of seed ${SEED}`);
        assert.deepEqual(walk, { ...walkWrites(before, wanted), others: 0 }, `history ${at} of seed ${SEED}`);
        add(used, walk);
    }
    context.diagnostic(
        `frames that changed something: ${total(used)} (${used.joins} joins, ${used.stores} stores, ` +
            `${used.removes} removals), as the walk has it: ${total(asked)}, fewest possible with a group ` +
            `emptied by one: ${fewest}; after faults at most ${most} synchronisations`,
    );
});
