// What is wrong with a lamp, by name.
//
// forgets_groups      loses its groups, and the scenes in them, with its power
// forgets_scenes      loses all scenes with its power
// full_group_table    {entries}: takes no more groups than that
// full_scene_table    {entries}: takes no more scenes than that
// answers_late        {every, by}: every nth answer comes that many milliseconds later
// never_answers       {every}: every nth answer is lost
// answers_twice       {every, by}: every nth answer comes again, that much later
// default_response    {every, status, cluster?, command?}: does not obey every nth request (of that
//                     kind) and answers with that status in a Default Response
// rejects_add_scene_while_off

export const KINDS = [
    "forgets_groups",
    "forgets_scenes",
    "full_group_table",
    "full_scene_table",
    "answers_late",
    "never_answers",
    "answers_twice",
    "default_response",
    "rejects_add_scene_while_off",
];

const UNSUPPORTED = 0x81;

export class Faults {
    #list = [];

    add(kind, values = {}) {
        if (!KINDS.includes(kind)) throw new Error(`no fault is called ${kind}`);
        this.#list.push({ kind, every: 1, by: 300, status: UNSUPPORTED, entries: 0, ...values, seen: 0 });
    }

    clear() {
        this.#list = [];
    }

    has(kind) {
        return this.#list.some((fault) => fault.kind === kind);
    }

    limit(kind, otherwise) {
        return Math.min(otherwise, ...this.#list.filter((fault) => fault.kind === kind).map((fault) => fault.entries));
    }

    // Faults are for requests to groups, scenes and the lamp: the network's own questions, without
    // which nobody would know of the lamp, are answered.
    #strikes(fault, request) {
        if (request.cluster === 0) return false;
        if (fault.cluster !== undefined && fault.cluster !== request.cluster) return false;
        if (fault.command !== undefined && (fault.command !== request.command || request.isGeneral)) return false;
        fault.seen += 1;
        return fault.seen % fault.every === 0;
    }

    // The status of the Default Response that a request gets instead of being obeyed, or null.
    refusal(request) {
        for (const fault of this.#list) {
            if (fault.kind === "default_response" && this.#strikes(fault, request)) return fault.status;
        }
        return null;
    }

    // When an answer leaves, in milliseconds: once, twice or never.
    delays(request) {
        let late = 0;
        let copies = [0];
        for (const fault of this.#list) {
            if (fault.kind === "answers_late" && this.#strikes(fault, request)) late += fault.by;
            if (fault.kind === "never_answers" && this.#strikes(fault, request)) copies = [];
            if (fault.kind === "answers_twice" && this.#strikes(fault, request)) copies = [...copies, fault.by];
        }
        return copies.map((copy) => copy + late);
    }
}
