// A dimmable ZigBee lamp on the air, written from the rules of the ZigBee Cluster Library: its Basic,
// Groups, Scenes, On/Off, Level Control and Electrical Measurement clusters, and what goes wrong with
// such lamps in real houses. Knows nothing of who asks.

import { Faults } from "./faults.mjs";

export const STATUS = {
    success: 0x00,
    failure: 0x01,
    malformedCommand: 0x80,
    unsupportedClusterCommand: 0x81,
    unsupportedGeneralCommand: 0x82,
    unsupportedAttribute: 0x86,
    invalidField: 0x85,
    invalidValue: 0x87,
    insufficientSpace: 0x89,
    duplicateExists: 0x8a,
    notFound: 0x8b,
    unsupportedCluster: 0xc3,
};

export const CLUSTER = {
    basic: 0x0000,
    identify: 0x0003,
    groups: 0x0004,
    scenes: 0x0005,
    onOff: 0x0006,
    level: 0x0008,
    electrical: 0x0b04,
};

const GENERAL = {
    read: 0x00,
    readResponse: 0x01,
    configureReporting: 0x06,
    configureReportingResponse: 0x07,
    report: 0x0a,
    defaultResponse: 0x0b,
};

const TYPE = { bool: 0x10, uint8: 0x20, uint16: 0x21, int16: 0x29, enum8: 0x30, text: 0x42 };

const HIGHEST_GROUP = 0xfff7;
const LOWEST_LEVEL = 1;
const HIGHEST_LEVEL = 254;
// The transition time that means "as you see fit", and the pace of a move without a rate.
const NO_TIME = 0xffff;
const USUAL_RATE = 50;
const MS_A_TENTH = 100;
const REPORT_STEP_MS = 100;
const MAINS_VOLTS = 230;

const u16 = (value) => [value & 0xff, value >> 8];

// Reads what a request carries; anything short is a malformed command.
class Octets {
    constructor(bytes) {
        this.bytes = bytes;
        this.at = 0;
    }

    u8() {
        if (this.at >= this.bytes.length) throw STATUS.malformedCommand;
        return this.bytes[this.at++];
    }

    u16() {
        return this.u8() + this.u8() * 256;
    }

    take(count) {
        if (this.at + count > this.bytes.length) throw STATUS.malformedCommand;
        this.at += count;
        return this.bytes.slice(this.at - count, this.at);
    }

    text() {
        const length = this.u8();
        return length === 0xff ? [] : this.take(length);
    }

    u16OrNone() {
        return this.left() >= 2 ? this.u16() : NO_TIME;
    }

    left() {
        return this.bytes.length - this.at;
    }
}

export class Lamp {
    // `groups` and `scenes` are how many entries the tables have, `answer` is in milliseconds, and with
    // `reports` the lamp tells its level unasked, as one whose reporting was set up once.
    // `send(bytes, cluster, endpoint)` puts a frame of the lamp on the air.
    constructor(settings, send) {
        const { ieee, address, endpoint = 1, groups = 16, scenes = 32 } = settings;
        const { answer = 2, watts = 10, reports = true } = settings;
        this.ieee = ieee;
        this.address = address;
        this.endpoint = endpoint;
        this.groupEntries = groups;
        this.sceneEntries = scenes;
        this.answerMs = answer;
        this.watts = watts;
        this.send = send;
        this.faults = new Faults();
        this.isOn = true;
        this.level = HIGHEST_LEVEL;
        this.groups = [];
        this.scenes = [];
        this.hasPower = true;
        this.isJoined = false;
        this.ramp = null;
        this.reported = new Set(reports ? [CLUSTER.onOff, CLUSTER.level] : []);
        this.sequence = 0;
        this.frames = {};
        this.transcript = [];
        this.timers = new Set();
    }

    // --- the air ---------------------------------------------------------------------------------

    // A frame for this lamp alone, or for all of a group, which nobody answers.
    receive(cluster, endpoint, bytes, toGroup = null) {
        if (!this.hasPower || !this.isJoined || bytes.length < 3) return;
        if (toGroup === null ? endpoint !== this.endpoint : !this.groups.includes(toGroup)) return;
        const [control, sequence, command] = bytes;
        // A manufacturer's own commands, and what is said by a server, concern others.
        if (control & 0x0c) return;
        const isGeneral = (control & 3) === 0;
        const request = { cluster, sequence, command, isGeneral, toGroup, wantsDefault: !(control & 0x10) };
        this.count(request, bytes);
        const refusal = this.faults.refusal(request);
        if (refusal !== null) return this.defaultResponse(request, refusal);
        try {
            this.obey(request, new Octets([...bytes].slice(3)));
        } catch (status) {
            if (typeof status !== "number") throw status;
            this.defaultResponse(request, status);
        }
    }

    count({ cluster, command, isGeneral }, bytes) {
        const name = `${isGeneral ? "general" : cluster}/${command}`;
        this.frames[name] = (this.frames[name] ?? 0) + 1;
        this.transcript.push({ cluster, hex: Buffer.from(bytes).toString("hex") });
    }

    obey(request, octets) {
        if (request.isGeneral) return this.general(request, octets);
        const table = COMMANDS[request.cluster];
        if (!table) throw STATUS.unsupportedCluster;
        const run = table[request.command];
        if (!run) throw STATUS.unsupportedClusterCommand;
        run.call(this, request, octets);
    }

    // `payload` as the command of that number, from this cluster.
    answer(request, payload, command = request.command, control = 0x09 | 0x10) {
        if (request.toGroup !== null) return;
        this.leave(request, [control, request.sequence, command, ...payload]);
    }

    defaultResponse(request, status) {
        if (request.toGroup !== null) return;
        if (status === STATUS.success && !request.wantsDefault) return;
        this.leave(request, [0x18, request.sequence, GENERAL.defaultResponse, request.command, status]);
    }

    leave(request, bytes) {
        for (const late of this.faults.delays(request)) {
            this.after(this.answerMs + late, () => this.send(Buffer.from(bytes), request.cluster, this.endpoint));
        }
    }

    after(ms, act) {
        const timer = setTimeout(() => {
            this.timers.delete(timer);
            if (this.hasPower && this.isJoined) act();
        }, ms);
        this.timers.add(timer);
    }

    // --- power -----------------------------------------------------------------------------------

    // What the lamp has to say still is lost with its power; the tables stay.
    losePower() {
        this.hasPower = false;
        for (const timer of this.timers) clearTimeout(timer);
        this.timers.clear();
        this.ramp = null;
        if (this.faults.has("forgets_groups")) {
            this.groups = [];
            this.scenes = this.scenes.filter((scene) => scene.group === 0);
        }
        if (this.faults.has("forgets_scenes")) this.scenes = [];
    }

    getPower() {
        this.hasPower = true;
        this.isOn = true;
    }

    // --- the lamp itself -------------------------------------------------------------------------

    presentLevel(now = Date.now()) {
        if (!this.ramp) return this.level;
        const { from, to, since, ms } = this.ramp;
        if (now >= since + ms) {
            this.level = to;
            this.ramp = null;
            if (to <= LOWEST_LEVEL && this.offAtEnd) this.isOn = false;
            return this.level;
        }
        return Math.round(from + ((to - from) * (now - since)) / ms);
    }

    activePower() {
        return this.isOn ? Math.round((this.watts * this.presentLevel()) / HIGHEST_LEVEL) : 0;
    }

    goTo(level, ms, withOnOff) {
        const to = Math.min(HIGHEST_LEVEL, Math.max(withOnOff && level === 0 ? LOWEST_LEVEL : level, LOWEST_LEVEL));
        if (withOnOff && level > LOWEST_LEVEL) this.isOn = true;
        this.offAtEnd = withOnOff && level <= LOWEST_LEVEL;
        this.ramp = { from: this.presentLevel(), to, since: Date.now(), ms };
        this.presentLevel();
        this.tell();
    }

    stop() {
        this.level = this.presentLevel();
        this.ramp = null;
        this.tell();
    }

    // A person's hand, or another remote.
    set({ on, level, watts }) {
        if (level !== undefined) {
            this.ramp = null;
            this.level = level;
        }
        if (on !== undefined) this.isOn = on;
        if (watts !== undefined) this.watts = watts;
        this.tell();
    }

    // Reports what changed to who asked for reports; while a ramp runs, again and again.
    tell() {
        this.report(CLUSTER.onOff, 0, TYPE.bool, [this.isOn ? 1 : 0]);
        this.report(CLUSTER.level, 0, TYPE.uint8, [this.presentLevel()]);
        this.report(CLUSTER.electrical, 0x050b, TYPE.int16, u16(this.activePower()));
        if (this.ramp) this.after(REPORT_STEP_MS, () => this.tell());
    }

    report(cluster, attribute, type, value) {
        if (!this.reported.has(cluster)) return;
        this.sequence = (this.sequence + 1) & 0xff;
        const bytes = [0x18, this.sequence, GENERAL.report, ...u16(attribute), type, ...value];
        this.after(0, () => this.send(Buffer.from(bytes), cluster, this.endpoint));
    }

    // --- general commands ------------------------------------------------------------------------

    general(request, octets) {
        if (request.command === GENERAL.read) return this.readAttributes(request, octets);
        if (request.command === GENERAL.configureReporting) {
            this.reported.add(request.cluster);
            return this.answer(request, [STATUS.success], GENERAL.configureReportingResponse, 0x18);
        }
        // Answers and reports are nobody's requests.
        if (request.command === GENERAL.defaultResponse || request.command === GENERAL.report) return;
        throw STATUS.unsupportedGeneralCommand;
    }

    readAttributes(request, octets) {
        const payload = [];
        while (octets.left() > 0) {
            const attribute = octets.u16();
            payload.push(...u16(attribute));
            const value = this.attribute(request.cluster, attribute);
            if (value) payload.push(STATUS.success, value[0], ...value[1]);
            else payload.push(STATUS.unsupportedAttribute);
        }
        this.answer(request, payload, GENERAL.readResponse, 0x18);
    }

    attribute(cluster, attribute) {
        const text = (value) => [TYPE.text, [value.length, ...Buffer.from(value)]];
        const known = {
            [CLUSTER.basic]: {
                0: [TYPE.uint8, [8]],
                4: text("Test"),
                5: text("dimmable lamp"),
                7: [TYPE.enum8, [1]],
            },
            [CLUSTER.scenes]: { 0: [TYPE.uint8, [this.scenes.length]] },
            [CLUSTER.onOff]: { 0: [TYPE.bool, [this.isOn ? 1 : 0]] },
            [CLUSTER.level]: { 0: [TYPE.uint8, [this.presentLevel()]] },
            [CLUSTER.electrical]: {
                0x0505: [TYPE.uint16, u16(MAINS_VOLTS)],
                0x0508: [TYPE.uint16, u16(0)],
                0x050b: [TYPE.int16, u16(this.activePower())],
                // Multipliers and divisors of voltage, current and power.
                ...Object.fromEntries([0, 1, 2, 3, 4, 5].map((at) => [0x0600 + at, [TYPE.uint16, u16(1)]])),
            },
        };
        return known[cluster]?.[attribute];
    }

    // --- Groups ----------------------------------------------------------------------------------

    addGroup(request, octets) {
        const group = octets.u16();
        octets.text();
        this.answer(request, [this.join(group), ...u16(group)]);
    }

    join(group) {
        if (group === 0 || group > HIGHEST_GROUP) return STATUS.invalidValue;
        if (this.groups.includes(group)) return STATUS.duplicateExists;
        if (this.groups.length >= this.faults.limit("full_group_table", this.groupEntries)) {
            return STATUS.insufficientSpace;
        }
        this.groups.push(group);
        return STATUS.success;
    }

    viewGroup(request, octets) {
        const group = octets.u16();
        const status = this.groups.includes(group) ? STATUS.success : STATUS.notFound;
        this.answer(request, [status, ...u16(group), 0]);
    }

    groupMembership(request, octets) {
        const asked = [];
        for (let left = octets.u8(); left > 0; left--) asked.push(octets.u16());
        const listed = this.groups.filter((group) => asked.length === 0 || asked.includes(group));
        // Who is in none of the groups asked for says nothing.
        if (asked.length > 0 && listed.length === 0) return;
        const room = this.faults.limit("full_group_table", this.groupEntries) - this.groups.length;
        this.answer(request, [Math.max(room, 0), listed.length, ...listed.flatMap(u16)]);
    }

    removeGroup(request, octets) {
        const group = octets.u16();
        const isMember = this.groups.includes(group);
        this.forgetGroup(group);
        this.answer(request, [isMember ? STATUS.success : STATUS.notFound, ...u16(group)]);
    }

    removeAllGroups(request) {
        this.groups.slice().forEach((group) => this.forgetGroup(group));
        this.defaultResponse(request, STATUS.success);
    }

    forgetGroup(group) {
        this.groups = this.groups.filter((one) => one !== group);
        this.scenes = this.scenes.filter((scene) => scene.group !== group);
    }

    // --- Scenes ----------------------------------------------------------------------------------

    serves(group) {
        return group === 0 || this.groups.includes(group);
    }

    find(group, number) {
        return this.scenes.find((scene) => scene.group === group && scene.number === number);
    }

    addScene(request, octets, isEnhanced = false) {
        const scene = { group: octets.u16(), number: octets.u8() };
        const time = octets.u16();
        scene.tenths = isEnhanced ? time : time * 10;
        octets.text();
        scene.sets = {};
        while (octets.left() > 0) {
            const cluster = octets.u16();
            scene.sets[cluster] = octets.take(octets.u8());
        }
        this.answer(request, [this.keep(scene), ...u16(scene.group), scene.number]);
    }

    keep(scene) {
        if (!this.serves(scene.group)) return STATUS.invalidField;
        if (this.faults.has("rejects_add_scene_while_off") && !this.isOn) return STATUS.failure;
        const at = this.scenes.indexOf(this.find(scene.group, scene.number));
        if (at >= 0) {
            this.scenes[at] = scene;
            return STATUS.success;
        }
        if (this.scenes.length >= this.faults.limit("full_scene_table", this.sceneEntries)) {
            return STATUS.insufficientSpace;
        }
        this.scenes.push(scene);
        return STATUS.success;
    }

    viewScene(request, octets, isEnhanced = false) {
        const group = octets.u16();
        const number = octets.u8();
        const scene = this.find(group, number);
        if (!this.serves(group) || !scene) {
            const status = this.serves(group) ? STATUS.notFound : STATUS.invalidField;
            return this.answer(request, [status, ...u16(group), number]);
        }
        const time = isEnhanced ? scene.tenths : Math.floor(scene.tenths / 10);
        const sets = Object.entries(scene.sets).flatMap(([cluster, octet]) => [
            ...u16(Number(cluster)),
            octet.length,
            ...octet,
        ]);
        this.answer(request, [STATUS.success, ...u16(group), number, ...u16(time), 0, ...sets]);
    }

    removeScene(request, octets) {
        const group = octets.u16();
        const number = octets.u8();
        const scene = this.find(group, number);
        let status = this.serves(group) ? STATUS.notFound : STATUS.invalidField;
        if (scene) {
            this.scenes.splice(this.scenes.indexOf(scene), 1);
            status = STATUS.success;
        }
        this.answer(request, [status, ...u16(group), number]);
    }

    removeAllScenes(request, octets) {
        const group = octets.u16();
        const status = this.serves(group) ? STATUS.success : STATUS.invalidField;
        this.scenes = this.scenes.filter((scene) => scene.group !== group);
        this.answer(request, [status, ...u16(group)]);
    }

    storeScene(request, octets) {
        const group = octets.u16();
        const number = octets.u8();
        const tenths = this.find(group, number)?.tenths ?? 0;
        const sets = { [CLUSTER.onOff]: [this.isOn ? 1 : 0], [CLUSTER.level]: [this.presentLevel()] };
        this.answer(request, [this.keep({ group, number, tenths, sets }), ...u16(group), number]);
    }

    recallScene(request, octets) {
        const group = octets.u16();
        const scene = this.find(group, octets.u8());
        const asked = octets.u16OrNone();
        if (!this.serves(group)) return this.defaultResponse(request, STATUS.invalidField);
        if (!scene) return this.defaultResponse(request, STATUS.notFound);
        const tenths = asked === NO_TIME ? scene.tenths : asked;
        const onOff = scene.sets[CLUSTER.onOff]?.[0];
        if (onOff !== undefined) this.isOn = onOff === 1;
        const level = scene.sets[CLUSTER.level]?.[0];
        if (level !== undefined && onOff !== 0) this.goTo(level, tenths * MS_A_TENTH, false);
        else this.tell();
        this.defaultResponse(request, STATUS.success);
    }

    sceneMembership(request, octets) {
        const group = octets.u16();
        const room = Math.max(this.faults.limit("full_scene_table", this.sceneEntries) - this.scenes.length, 0);
        if (!this.serves(group)) return this.answer(request, [STATUS.invalidField, room, ...u16(group)]);
        const numbers = this.scenes.filter((scene) => scene.group === group).map((scene) => scene.number);
        this.answer(request, [STATUS.success, room, ...u16(group), numbers.length, ...numbers]);
    }

    copyScene(request, octets) {
        const isAll = (octets.u8() & 1) === 1;
        const [from, fromNumber, to, toNumber] = [octets.u16(), octets.u8(), octets.u16(), octets.u8()];
        const copied = this.scenes.filter((one) => one.group === from && (isAll || one.number === fromNumber));
        let status = this.serves(from) && this.serves(to) ? STATUS.success : STATUS.invalidField;
        if (status === STATUS.success && copied.length === 0) status = STATUS.invalidField;
        for (const scene of status === STATUS.success ? copied : []) {
            const kept = this.keep({ ...scene, group: to, number: isAll ? scene.number : toNumber });
            status = kept === STATUS.success ? status : kept;
        }
        this.answer(request, [status, ...u16(from), fromNumber]);
    }

    // --- On/Off and Level Control ----------------------------------------------------------------

    turn(request, isOn) {
        this.isOn = isOn;
        this.tell();
        this.defaultResponse(request, STATUS.success);
    }

    moveToLevel(request, octets, withOnOff) {
        const level = octets.u8();
        const tenths = octets.u16();
        // Without on/off a lamp that is off stays as it is.
        if (withOnOff || this.isOn) this.goTo(level, tenths === NO_TIME ? 0 : tenths * MS_A_TENTH, withOnOff);
        this.defaultResponse(request, STATUS.success);
    }

    move(request, octets, withOnOff) {
        const isUp = octets.u8() === 0;
        const rate = octets.u8();
        const to = isUp ? HIGHEST_LEVEL : LOWEST_LEVEL;
        const perSecond = rate === 0xff ? USUAL_RATE : Math.max(rate, 1);
        const ms = (Math.abs(to - this.presentLevel()) / perSecond) * 1000;
        if (withOnOff || this.isOn) this.goTo(to, ms, withOnOff);
        this.defaultResponse(request, STATUS.success);
    }

    halt(request) {
        this.stop();
        this.defaultResponse(request, STATUS.success);
    }
}

const P = Lamp.prototype;
const COMMANDS = {
    [CLUSTER.basic]: {},
    [CLUSTER.identify]: {
        0: function (request) {
            this.defaultResponse(request, STATUS.success);
        },
    },
    [CLUSTER.groups]: {
        0: P.addGroup,
        1: P.viewGroup,
        2: P.groupMembership,
        3: P.removeGroup,
        4: P.removeAllGroups,
    },
    [CLUSTER.scenes]: {
        0x00: P.addScene,
        0x01: P.viewScene,
        0x02: P.removeScene,
        0x03: P.removeAllScenes,
        0x04: P.storeScene,
        0x05: P.recallScene,
        0x06: P.sceneMembership,
        0x40: function (request, octets) {
            this.addScene(request, octets, true);
        },
        0x41: function (request, octets) {
            this.viewScene(request, octets, true);
        },
        0x42: P.copyScene,
    },
    [CLUSTER.onOff]: {
        0: function (request) {
            this.turn(request, false);
        },
        1: function (request) {
            this.turn(request, true);
        },
        2: function (request) {
            this.turn(request, !this.isOn);
        },
    },
    [CLUSTER.level]: Object.fromEntries(
        [0, 4].flatMap((base) => [
            [base, function (request, octets) { this.moveToLevel(request, octets, base === 4); }],
            [base + 1, function (request, octets) { this.move(request, octets, base === 4); }],
            [base + 3, P.halt],
        ]),
    ),
    [CLUSTER.electrical]: {},
};
