// The transcripts of the driver's tests, as far as a lamp can play them: what the light answers there is
// made into tables, and the frames that leave there are those that must reach the lamp, in their order.

import { readFileSync, readdirSync } from "node:fs";
import path from "node:path";

const FOLDER = path.join(import.meta.dirname ?? path.dirname(new URL(import.meta.url).pathname), "../transcripts/zigbee_light");

// Those that are played.
export const PLAYED = [
    "scene-commands",
    "sync-extra-and-missing",
    "sync-foreign-group",
    "sync-groups-unsorted",
    "sync-missing-groups",
    "sync-no-watchdog",
    "sync-nothing-wanted",
    "zigbee-clean-sync",
];

const NO_FRAME = "no frame leaves or comes in it";
const NO_LAMP = "no lamp gives such answers, or gives them unasked, and Zigbee2MQTT would not pass them on";
const TIMES = "it lives by times to the millisecond, which the air does not keep";
const LOG = "it is about the log; the frames are those of the others";

// Why the others are not.
export const NOT_PLAYED = {
    "add-scene-failed": NO_LAMP,
    "energy": NO_FRAME,
    "energy-auto-update": NO_FRAME,
    "energy-first-count": NO_FRAME,
    "energy-fractions": NO_FRAME,
    "energy-midnight": NO_FRAME,
    "energy-refused": NO_FRAME,
    "energy-reset-and-restart": NO_FRAME,
    "extreme-numbers": NO_LAMP,
    "frames": NO_LAMP,
    "frames-refused": NO_LAMP,
    "frames-without-listener": NO_LAMP,
    "kept-state": "it needs a house of its own that begins with a state",
    "refused-inputs": NO_FRAME,
    "rejoin": TIMES,
    "scene-command-limits": "groups above 0xfff7 are in it, which Zigbee2MQTT's lamps refuse",
    "scene-map": NO_FRAME,
    "scenes-no-light-can-hold": LOG,
    "sync-abort": TIMES,
    "sync-before-any": NO_LAMP,
    "sync-details": "its answers have parts of seconds, which a lamp's View Scene has not",
    "sync-log": LOG,
    "sync-log-failures": LOG,
    "sync-nothing-left-to-view": NO_LAMP,
    "sync-out-of-turn": NO_LAMP,
    "sync-own-scenes": TIMES,
    "sync-restarted": TIMES,
    "sync-restarted-answer-under-way": TIMES,
    "sync-view-stall": NO_LAMP,
    "sync-view-stall-goes-on": NO_LAMP,
    "sync-watchdog": TIMES,
    "synchronize-command": TIMES,
};

export const ALL = readdirSync(FOLDER)
    .filter((name) => name.endsWith(".jsonl"))
    .map((name) => name.slice(0, -".jsonl".length));

const place = (id) => ({ group: id & 0xffff, number: id >>> 16 });

// What a lamp must hold to answer like that.
const tablesOf = (replies) => {
    const groups = replies.flatMap((reply) => reply.group_membership ?? []);
    const shown = new Map(replies.flatMap(({ view_scene: view }) => (view ? [[view.scene, view]] : [])));
    const scenes = replies.flatMap((reply) => reply.scene_membership?.scenes ?? []).map((id) => {
        const { level = 100, time_ms: ms = 0 } = shown.get(id) ?? {};
        const octet = Math.floor((level * 254) / 100 + 0.5);
        return { ...place(id), tenths: Math.floor(ms / 100), sets: { 6: [octet ? 1 : 0], 8: [octet] } };
    });
    return { groups, scenes };
};

// {tables, inputs, frames, isOpen} of a transcript; open is one that ends before its walk does.
export const read = (name) => {
    const lines = readFileSync(path.join(FOLDER, `${name}.jsonl`), "utf8").split("\n").filter((line) => line.startsWith("{"));
    const [, ...steps] = lines.map((line) => JSON.parse(line));
    const came = steps.flatMap((step) => step.in ?? []);
    const frames = steps
        .flatMap(({ out }) => (out?.zcl ? [out] : []))
        .map(({ zcl, group, scene }) => [zcl, ...(zcl.startsWith("get") && scene === undefined && group === undefined ? [] : [scene ?? group])].join(" "));
    return {
        tables: tablesOf(came.flatMap((input) => input.zcl_reply ?? [])),
        inputs: came.filter((input) => input.synchronize || input.command),
        frames,
        isOpen: came.some((input) => input.synchronize) && !steps.some(({ out }) => out?.call === "SynchronizationDone"),
    };
};

const NAMES = {
    "4/00": "add_group",
    "4/02": "get_group_membership",
    "4/03": "remove_group",
    "5/00": "add_scene",
    "5/01": "view_scene",
    "5/02": "remove_scene",
    "5/06": "get_scene_membership",
};

// A frame that a lamp has noted, in the same words; nothing for those that are not about its tables.
export const wordsOf = ({ cluster, hex }) => {
    const bytes = Buffer.from(hex, "hex");
    const isGeneral = (bytes[0] & 3) === 0;
    if (isGeneral) return cluster === 5 ? ["get_scene_count"] : [];
    const name = NAMES[`${cluster}/${hex.slice(4, 6)}`];
    if (!name) return [];
    if (name === "get_group_membership") return [name];
    const group = bytes.readUInt16LE(3);
    const isScene = name.endsWith("_scene");
    return [`${name} ${isScene ? bytes[5] * 65536 + group : group}`];
};
