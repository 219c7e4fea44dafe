// Whatever a lamp behind a real Zigbee2MQTT has been through: once it behaves, it soon holds what is
// wanted, and nothing else. HISTORIES says how many random histories (16 by default, 500 for a long
// run), HISTORIES_SEED which (1 by default). A history mostly waits for answers that do not come, so
// several lamps live theirs at the same time.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { House, fewestWrites, heldText, walkOf, walkWrites, wantedText } from "./light.mjs";
import { Rig } from "./rig.mjs";

const HISTORIES = Number(process.env.HISTORIES ?? 16);
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

// A program has four requests under way at most.
const HOUSES = 2;
const LAMPS_A_HOUSE = 4;

const rig = new Rig();
const subjects = [];

before(async () => {
    await rig.start();
    for (let number = 0; number < HOUSES; number++) {
        const lamps = Array.from({ length: LAMPS_A_HOUSE }, (_, at) => new Subject(number * LAMPS_A_HOUSE + at));
        for (const lamp of lamps) {
            await rig.addLamp({ ieee: lamp.ieee, address: lamp.address, groups: TABLE, scenes: TABLE });
        }
        const house = await House.start(rig, Object.fromEntries(lamps.map((lamp) => [lamp.driver, lamp])), {
            name: `house${number}`,
        });
        for (const lamp of lamps) {
            lamp.house = house;
            await house.first(({ driver, call }) => driver === lamp.driver && call, "the first synchronisation");
        }
        subjects.push(...lamps);
    }
});
after(async () => {
    for (const house of new Set(subjects.map((subject) => subject.house))) await house.close();
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

// A lamp and its driver, which live one history after the other.
class Subject {
    constructor(number) {
        this.driver = `lamp${number}`;
        this.address = 0x1000 + number;
        this.ieee = `0x00124b00000000${(0x10 + number).toString(16)}`;
    }

    act(what, more) {
        return rig.act(what, this.ieee, more);
    }

    // A while in which everything may go wrong: nobody waits for an end that need not come.
    async suffer(history) {
        for (const [kind, values] of history.faults()) await this.act("fault", { kind, values });
        for (let times = 1 + history.below(2); times > 0; times--) {
            const answer = rig.answerFor(this.ieee);
            const synchronize = { stall_delay_s: 0, scenes: history.wanted() };
            await this.house.hand({ driver: this.driver, synchronize });
            await answer;
            if (history.below(3) === 0) await this.act("set", { on: history.below(2) === 0 });
            if (history.below(4) === 0) {
                await this.act("power_off");
                await this.act("power_on");
            }
        }
    }

    async recover(wanted) {
        await this.act("clear_faults");
        await this.act("set", { on: true });
        // The answer to a question of before may end the first before its time.
        let times = 0;
        do {
            times += 1;
            await this.house.synchronize(this.driver, wanted);
            await rig.raw(this.ieee, "genScenes", "read", [{ attrId: 0 }], { general: true });
        } while (times < 4 && !same(await this.act("tables"), wanted));
        return times;
    }

    async live(history, name, sums) {
        await this.act("clear_faults");
        await this.act("set_tables", history.tables());
        await this.suffer(history);
        sums.most = Math.max(sums.most, await this.recover(history.wanted()));
        const wanted = history.wanted();
        const before = await this.act("tables");
        sums.fewest += fewestWrites(before, wanted);
        add(sums.asked, walkWrites(before, wanted));
        await this.act("frames");
        await this.recover(wanted);
        const walk = walkOf((await this.act("frames")).transcript);
        assert.deepEqual(heldText(await this.act("tables")), wantedText(wanted), name);
        assert.deepEqual(walk, { ...walkWrites(before, wanted), others: 0 }, name);
        add(sums.used, walk);
    }
}

const same = (held, wanted) => JSON.stringify(heldText(held)) === JSON.stringify(wantedText(wanted));

const add = (sum, more) => {
    for (const [name, count] of Object.entries(more)) sum[name] = (sum[name] ?? 0) + count;
};
const total = ({ joins, stores, removes }) => joins + stores + removes;

test(`LampWithAnyPast_HoldsWhatIsWanted_WithNoFrameBeyondTheWalk (${HISTORIES} histories)`, async (context) => {
    const sums = { used: {}, asked: {}, fewest: 0, most: 0 };
    let next = 0;
    const liveAll = async (subject) => {
        while (next < HISTORIES) {
            const at = next++;
            await subject.live(new History(SEED * 100000 + at), `history ${at} of seed ${SEED}`, sums);
        }
    };
    await Promise.all(subjects.map(liveAll));
    const { used, asked, fewest, most } = sums;
    context.diagnostic(
        `frames that changed something: ${total(used)} (${used.joins} joins, ${used.stores} stores, ` +
            `${used.removes} removals), as the walk has it: ${total(asked)}, fewest possible with a group ` +
            `emptied by one: ${fewest}; after faults at most ${most} synchronisations`,
    );
});
