// A Zigbee2MQTT whose radio reaches lamps of the tests; one process.
//
//     node bridge.mjs FOLDER BROKER_PORT BASE_TOPIC [MINUTES] < commands
//
// MINUTES is for how long it believes that a silent lamp is there, 10 by default.
//
// Reads one command a line from standard input and answers each with one line on standard output:
// {"id":1,"do":"tables","lamp":"0x..."} -> {"id":1,"ok":{...}} or {"id":1,"error":"..."}. ACTS below are
// the commands. Its own log goes to FOLDER/log. Ends when standard input ends.

import { createRequire } from "node:module";
import { createInterface } from "node:readline";
import { mkdirSync, writeFileSync } from "node:fs";
import path from "node:path";
import { Air } from "./radio.mjs";
import { Lamp } from "./lamp.mjs";

const [folder, port, base, minutes = 10] = process.argv.slice(2);
const require = createRequire(import.meta.url);

const SETTINGS = `
version: 5
mqtt: { base_topic: ${base}, server: 'mqtt://127.0.0.1:${port}', include_device_information: false }
serial: { port: /dev/null, adapter: zstack }
homeassistant: { enabled: false }
frontend: { enabled: false }
availability: { enabled: true, active: { timeout: ${minutes}, max_jitter: 0, backoff: false } }
advanced:
  log_level: info
  log_output: [file]
  log_directory: ${path.join(folder, "log")}
  last_seen: disable
  channel: 11
  network_key: [1, 3, 5, 7, 9, 11, 13, 15, 0, 2, 4, 6, 8, 10, 12, 13]
  pan_id: 6754
  ext_pan_id: [221, 221, 221, 221, 221, 221, 221, 221]
`;

const air = new Air();
let controller = null;

const lampOf = ({ lamp }) => {
    const found = air.lamps.get(lamp);
    if (!found) throw new Error(`there is no lamp ${lamp}`);
    return found;
};

const ACTS = {
    // Puts a lamp in reach and lets it join.
    add_lamp: ({ settings }) => {
        const lamp = new Lamp(settings, (...frame) => air.hear(lamp, ...frame));
        air.add(lamp);
        air.join(lamp);
    },
    // What the lamp holds and does.
    tables: (command) => {
        const lamp = lampOf(command);
        const { isOn, groups, scenes } = lamp;
        return { on: isOn, level: lamp.presentLevel(), groups, scenes };
    },
    set_tables: (command) => {
        const lamp = lampOf(command);
        if (command.groups) lamp.groups = command.groups;
        if (command.scenes) lamp.scenes = command.scenes;
    },
    // How many frames came by since the last time this was asked, by "cluster/command".
    frames: (command) => {
        const lamp = lampOf(command);
        const { frames, transcript } = lamp;
        lamp.frames = {};
        lamp.transcript = [];
        return { frames, transcript };
    },
    fault: (command) => lampOf(command).faults.add(command.kind, command.values),
    clear_faults: (command) => lampOf(command).faults.clear(),
    // A person at the lamp, or its own remote.
    set: (command) => lampOf(command).set(command),
    power_off: (command) => lampOf(command).losePower(),
    power_on: (command) => {
        lampOf(command).getPower();
        air.announce(lampOf(command));
    },
    leave: (command) => air.leave(lampOf(command)),
    join: (command) => air.join(lampOf(command)),
    change_address: (command) => {
        lampOf(command).address = command.address;
        air.join(lampOf(command));
    },
    // Stops Zigbee2MQTT and starts it again; the lamps know nothing of it.
    stop_bridge: async () => {
        await controller.stop(true);
        controller = null;
    },
    start_bridge: start,
};

async function start() {
    const { Controller } = require("zigbee2mqtt/dist/controller.js");
    controller = new Controller(
        async () => {},
        async () => {},
    );
    await controller.start();
}

const say = (answer) => process.stdout.write(`${JSON.stringify(answer)}\n`);

mkdirSync(folder, { recursive: true });
writeFileSync(path.join(folder, "configuration.yaml"), SETTINGS);
process.env.ZIGBEE2MQTT_DATA = folder;
require("zigbee2mqtt/dist/util/settings.js").reRead();
require("zigbee2mqtt/dist/util/logger.js").default.init();
air.install();
await start();
say({ ready: true });

for await (const line of createInterface({ input: process.stdin })) {
    const { id, ...command } = JSON.parse(line);
    try {
        if (!ACTS[command.do]) throw new Error(`nothing is called ${command.do}`);
        say({ id, ok: (await ACTS[command.do](command)) ?? true });
    } catch (error) {
        say({ id, error: error.message });
    }
}
if (controller) await controller.stop(false);
process.exit(0);
