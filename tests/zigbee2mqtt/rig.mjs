// A broker, a Zigbee2MQTT on it and lamps behind that, for as long as a test runs.

import { spawn } from "node:child_process";
import { createInterface } from "node:readline";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { createServer } from "node:net";
import { tmpdir } from "node:os";
import path from "node:path";
import mqtt from "mqtt";

// Everything here answers within milliseconds; this is for a machine that is busy.
const PATIENCE_MS = 30000;

const HERE = import.meta.dirname ?? path.dirname(new URL(import.meta.url).pathname);

export const within = (promise, what, ms = PATIENCE_MS) => {
    let timer;
    const late = new Promise((_, fail) => {
        timer = setTimeout(() => fail(new Error(`nothing came of ${what} in ${ms} ms`)), ms);
    });
    return Promise.race([promise, late]).finally(() => clearTimeout(timer));
};

const freePort = () =>
    new Promise((done) => {
        const server = createServer();
        server.listen(0, "127.0.0.1", () => {
            const { port } = server.address();
            server.close(() => done(port));
        });
    });

// What came on a client's topics, and who waits for more.
class Topics {
    constructor(client) {
        this.last = new Map();
        this.heard = [];
        this.waiting = new Set();
        client.on("message", (topic, payload, packet) => {
            const message = { topic, text: payload.toString(), retained: packet.retain };
            this.last.set(topic, message.text);
            this.heard.push(message);
            for (const waiter of [...this.waiting]) waiter(message);
        });
    }

    // The next message that fits, as JSON where it is.
    next(fits, what, ms) {
        return within(
            new Promise((done) => {
                const waiter = (message) => {
                    if (!fits(message)) return;
                    this.waiting.delete(waiter);
                    done(message);
                };
                this.waiting.add(waiter);
            }),
            what,
            ms,
        );
    }
}

export class Rig {
    #commands = new Map();
    #number = 0;
    #transaction = 0;
    // Whom the requests of houses are for, by transaction.
    #lamps = new Map();

    // `minutes`: for how long Zigbee2MQTT believes that a silent lamp is there.
    constructor(base = "zigbee2mqtt", minutes = 10) {
        this.base = base;
        this.minutes = minutes;
        this.folder = mkdtempSync(path.join(tmpdir(), "zigbee2mqtt-"));
    }

    async start() {
        this.port = await freePort();
        const settings = path.join(this.folder, "mosquitto.conf");
        writeFileSync(settings, `listener ${this.port} 127.0.0.1\nallow_anonymous true\n`);
        this.broker = spawn("mosquitto", ["-c", settings], {
            stdio: "ignore",
            env: { ...process.env, PATH: `${process.env.PATH}:/usr/sbin` },
        });
        this.client = await within(
            mqtt.connectAsync(`mqtt://127.0.0.1:${this.port}`, { reconnectPeriod: 50 }, true),
            "the connection to the broker",
        );
        this.topics = new Topics(this.client);
        this.client.on("message", (topic, payload) => this.#onRequest(topic, payload));
        await this.client.subscribeAsync([`${this.base}/#`]);
        await this.#startBridge();
    }

    async #startBridge() {
        const data = path.join(this.folder, "zigbee2mqtt");
        this.bridge = spawn(process.execPath, [path.join(HERE, "bridge.mjs"), data, String(this.port), this.base, String(this.minutes)], {
            stdio: ["pipe", "pipe", "inherit"],
        });
        const ready = new Promise((done) => this.#commands.set("ready", { done }));
        createInterface({ input: this.bridge.stdout }).on("line", (line) => this.#onAnswer(line));
        await within(ready, "the start of Zigbee2MQTT");
    }

    #onAnswer(line) {
        // Zigbee2MQTT itself may say something.
        if (!line.startsWith("{")) return;
        const { id = "ready", ok, error } = JSON.parse(line);
        const waiting = this.#commands.get(id);
        this.#commands.delete(id);
        if (error) waiting?.fail(new Error(error));
        else waiting?.done(ok);
    }

    async stop() {
        this.bridge?.stdin.end();
        if (this.bridge && this.bridge.exitCode === null) {
            await within(new Promise((done) => this.bridge.once("exit", done)), "the end of Zigbee2MQTT");
        }
        await this.client?.endAsync(true);
        this.broker?.kill();
        rmSync(this.folder, { recursive: true, force: true });
    }

    // What a person or the world does to the lamps; see bridge.mjs.
    act(what, lamp, more = {}) {
        const id = ++this.#number;
        this.bridge.stdin.write(`${JSON.stringify({ id, do: what, lamp, ...more })}\n`);
        return within(
            new Promise((done, fail) => this.#commands.set(id, { done, fail })),
            what,
        );
    }

    // Adds a lamp, and returns when Zigbee2MQTT knows all of it.
    async addLamp(settings) {
        const isKnown = this.topics.next(
            ({ topic, text }) => topic === `${this.base}/bridge/devices` && this.#isInterviewed(text, settings.ieee),
            `the interview of ${settings.ieee}`,
        );
        await this.act("add_lamp", settings.ieee, { settings });
        await isKnown;
        await this.act("frames", settings.ieee);
    }

    #isInterviewed(text, ieee) {
        return JSON.parse(text).some(
            (device) => device.ieee_address === ieee && device.interview_completed && device.definition,
        );
    }

    publish(topic, value, options = {}) {
        const text = typeof value === "string" ? value : JSON.stringify(value);
        return this.client.publishAsync(`${this.base}/${topic}`, text, options);
    }

    #onRequest(topic, payload) {
        if (topic !== `${this.base}/bridge/request/action`) return;
        const { transaction, params } = JSON.parse(payload);
        this.#lamps.set(transaction, params.ieee_address);
    }

    // The next answer to a frame for that lamp, or the error in place of one.
    answerFor(lamp) {
        return this.topics.next(
            ({ topic, text }) =>
                topic === `${this.base}/bridge/response/action` &&
                this.#lamps.get(JSON.parse(text).transaction) === lamp,
            `an answer of ${lamp} or an error`,
        );
    }

    // The last message of a topic, as JSON.
    last(topic) {
        const text = this.topics.last.get(`${this.base}/${topic}`);
        return text === undefined ? undefined : JSON.parse(text);
    }

    // One frame through Zigbee2MQTT to a lamp, and the answer: {status, octets, error}.
    async raw(lamp, cluster, command, payload, { general = false, endpoint = 1, timeout } = {}) {
        const transaction = `test-${++this.#transaction}`;
        const device = this.last("bridge/devices").find((one) => one.ieee_address === lamp);
        const answer = this.topics.next(
            ({ topic, text }) =>
                topic === `${this.base}/bridge/response/action` && JSON.parse(text).transaction === transaction,
            `${command} to ${lamp}`,
        );
        await this.publish("bridge/request/action", {
            action: "raw",
            transaction,
            params: {
                ieee_address: lamp,
                network_address: device.network_address,
                dst_endpoint: endpoint,
                cluster_key: cluster,
                timeout,
                zcl: {
                    frame_type: general ? 0 : 1,
                    direction: 0,
                    disable_default_response: true,
                    command_key: command,
                    payload,
                },
            },
        });
        const { status, data, error } = JSON.parse((await answer).text);
        // Without the control octet and the sequence, which differ.
        return { status, error, octets: data?.data?.data?.slice(2) };
    }

    log() {
        try {
            return readFileSync(path.join(this.folder, "zigbee2mqtt", "log", "log.log"), "utf8");
        } catch {
            return "";
        }
    }
}
