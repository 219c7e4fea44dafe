// lighting-host with drivers of lamps behind the Zigbee2MQTT of a rig, and what the tests ask of it.

import { writeFileSync } from "node:fs";
import path from "node:path";
import WebSocket from "ws";
import { Program } from "../page/program.mjs";
import { within } from "./rig.mjs";

const GROUPS = 4;
const SCENES = 5;
// Commands that change something.
const JOIN = `${GROUPS}/00`;
const LEAVE = `${GROUPS}/03`;
const STORE = `${SCENES}/00`;
const REMOVE = `${SCENES}/02`;
const ASK_GROUPS = `${GROUPS}/02`;

// A driver for each of `lamps`, by name: {ieee, attributes, config}; `more` is what else the house has.
export const houseOf = (lamps, base, more = "") => `<house>
${Object.entries(lamps)
    .map(
        ([name, { ieee, attributes = "" }], at) => `<driver name="${name}" type="zigbee_light" id="${at + 1}">
<config><stall_delay_s>0</stall_delay_s></config>
<device zigbee2mqtt="${ieee}" base="${base}" patience="300ms" ${attributes}/>
</driver>`,
    )
    .join("\n")}
${more}</house>`;

export class House {
    // Serves a house on the rig's broker.
    static async start(rig, lamps, { more = "", options = ["--bare"], name = "house" } = {}) {
        const house = new House();
        const file = path.join(rig.folder, `${name}.xml`);
        writeFileSync(file, houseOf(lamps, rig.base, more));
        house.program = await Program.start(
            ["--zigbee2mqtt", `mqtt://127.0.0.1:${rig.port}`, ...options],
            { house: file },
        );
        house.heard = [];
        house.waiting = new Set();
        house.socket = new WebSocket(`${house.program.url.replace("http", "ws")}/protocol?watch`);
        house.socket.on("message", (text) => {
            for (const line of String(text).split("\n").filter(Boolean)) house.#hear(JSON.parse(line));
        });
        await within(new Promise((done) => house.socket.once("open", done)), "the socket");
        house.socket.send(JSON.stringify({ since: 0 }));
        return house;
    }

    #hear(line) {
        this.heard.push(line);
        for (const waiter of [...this.waiting]) waiter(line);
    }

    async close() {
        this.socket.terminate();
        await this.program.close();
    }

    // The next output that fits.
    next(fits, what, ms) {
        return within(
            new Promise((done) => {
                const waiter = (line) => {
                    if (!fits(line)) return;
                    this.waiting.delete(waiter);
                    done(line);
                };
                this.waiting.add(waiter);
            }),
            what,
            ms,
        );
    }

    // The driver's picture, once it is as wanted.
    async picture(driver, isWanted, what) {
        const look = async () => {
            for (;;) {
                const picture = await this.program.driver(driver);
                if (isWanted(picture)) return picture;
            }
        };
        return within(look(), what);
    }

    // The first output that fits, whether it has come or not.
    async first(fits, what) {
        return this.heard.find(fits) ?? this.next(fits, what);
    }

    async hand(line) {
        const answers = await this.program.hand(line);
        const error = answers.find((answer) => answer.error);
        if (error) throw new Error(`${JSON.stringify(line)}: ${error.error}`);
        return answers;
    }

    async addToScene(driver, scene, level, time) {
        const params = { SCENE_ID: scene, LEVEL: level, TIME: time };
        await this.hand({ driver, command: "ADD_TO_SCENE", params });
    }

    // Synchronises with those scenes ([{id, level, time_ms}]), or with the driver's own, and waits for
    // the end.
    async synchronize(driver, scenes, ms) {
        const done = this.done(driver, ms);
        const synchronize = scenes ? { stall_delay_s: 0, scenes } : { stall_delay_s: 0 };
        await this.hand({ driver, synchronize });
        await done;
    }

    // Empties the lamp; at the end nothing is on its way to it any more.
    async empty(driver) {
        await this.synchronize(driver, []);
        await this.synchronize(driver, []);
    }

    done(driver, ms) {
        return this.next(
            (line) => line.driver === driver && line.call === "SynchronizationDone",
            `the end of the synchronisation of ${driver}`,
            ms,
        );
    }
}

// What a driver's walk should leave in the lamp: "group/number level% seconds", sorted.
export const wantedText = (scenes) =>
    scenes
        .map(({ id, level, time_ms: ms }) => `${id & 0xffff}/${id >> 16} ${level}% ${Math.floor((ms + 500) / 1000)}s`)
        .sort();

// What is in the lamp, in the same words.
export const heldText = ({ scenes }) =>
    scenes
        .map(({ group, number, tenths, sets }) => {
            const level = sets[6]?.[0] === 0 ? 0 : sets[8]?.[0];
            const percent = level === undefined ? "?" : Math.floor((level * 100) / 254 + 0.5);
            return `${group}/${number} ${percent}% ${Math.floor(tenths / 10)}s`;
        })
        .sort();

// What has to change in a lamp with those tables until it holds those scenes: groups to join, scenes to
// store, and scenes that nobody wants with the groups that they are in.
const changesOf = (tables, wanted) => {
    const held = new Map(heldText(tables).map((text) => [text.split(" ")[0], text]));
    const want = new Map(wantedText(wanted).map((text) => [text.split(" ")[0], text]));
    const groups = [...new Set(wanted.map(({ id }) => id & 0xffff))].sort((one, other) => one - other);
    const tooMany = [...held.keys()].filter((place) => !want.has(place));
    return {
        groups,
        joins: groups.filter((group) => !tables.groups.includes(group)).length,
        stores: [...want].filter(([place, text]) => held.get(place) !== text).length,
        removes: tooMany.length,
        clears: new Set(tooMany.map((place) => place.split("/")[0])).size,
    };
};

// The fewest frames that bring a lamp there: one for each group to join and for each scene to store, and
// one for each group that holds scenes that nobody wants.
export const fewestWrites = (tables, wanted) => {
    const { joins, stores, clears } = changesOf(tables, wanted);
    return joins + stores + clears;
};

// The frames of a walk as docs/zigbee_sync.md has it: scenes that nobody wants are removed one by one,
// because a group may hold others; and the groups are compared in the order in which the lamp tells
// them, so that one that is told too late is joined once more.
export const walkWrites = (tables, wanted) => {
    const { groups, stores, removes } = changesOf(tables, wanted);
    let told = 0;
    let joins = 0;
    for (const group of groups) {
        while (told < tables.groups.length && tables.groups[told] < group) told += 1;
        if (tables.groups[told] === group) told += 1;
        else joins += 1;
    }
    return { joins, stores, removes };
};

// The frames that changed something in the first of the walks that a lamp has noted: from its question
// for the groups to the next walk's.
export const walkOf = (transcript) => {
    const commands = transcript
        .filter(({ hex }) => Number.parseInt(hex[1], 16) & 1)
        .map(({ cluster, hex }) => `${cluster}/${hex.slice(4, 6)}`);
    const first = commands.indexOf(ASK_GROUPS);
    const second = commands.indexOf(ASK_GROUPS, first + 1);
    const walk = commands.slice(first, second < 0 ? commands.length : second);
    const count = (command) => walk.filter((one) => one === command).length;
    return { joins: count(JOIN), stores: count(STORE), removes: count(REMOVE), others: count(LEAVE) };
};

export const writesOf = (transcript) => {
    const { joins, stores, removes, others } = walkOf(transcript);
    return joins + stores + removes + others;
};
