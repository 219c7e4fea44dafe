// The peer of ZclBench: the same frames through zigbee-herdsman, in nanoseconds, printed as Google
// Benchmark prints its results.
//
//     node zcl_peer.js FOLDER
//
// FOLDER is where the package's files are; of them only its ZCL frames are used, which depend on no
// other package.
"use strict";

const path = require("path");
const Zcl = require(path.join(path.resolve(process.argv[2]), "dist", "zspec", "zcl"));

const SECONDS = 0.2;
const BLOCK = 1000;
const WARM_UP_BLOCKS = 50;

function addScene(sequence) {
    const payload = {
        groupid: 1,
        sceneid: 5,
        transtime: 2,
        scenename: "",
        extensionfieldsets: [
            {clstId: 6, len: 1, extField: [1]},
            {clstId: 8, len: 1, extField: [127]},
        ],
    };
    return Zcl.Frame.create(Zcl.FrameType.SPECIFIC, Zcl.Direction.CLIENT_TO_SERVER, false, undefined, sequence & 0xff,
        "add", "genScenes", payload, {}).toBuffer();
}

// status 0x89, group 1, scene 5
const RESPONSE = Buffer.from([0x09, 0x01, 0x00, 0x89, 0x01, 0x00, 0x05]);

function decodeResponse() {
    const header = Zcl.Header.fromBuffer(RESPONSE);
    return Zcl.Frame.fromBuffer(5, header, RESPONSE, {}).payload.status;
}

// Nanoseconds of a call, over blocks of calls until the time is up.
function measure(call) {
    for (let i = 0; i < WARM_UP_BLOCKS * BLOCK; ++i) call(i);
    const begin = process.hrtime.bigint();
    let calls = 0;
    let taken = 0;
    do {
        for (let i = 0; i < BLOCK; ++i) call(i);
        calls += BLOCK;
        taken = Number(process.hrtime.bigint() - begin);
    } while (taken < SECONDS * 1e9);
    return taken / calls;
}

const EXPECTED = "010700" + "0100" + "05" + "0200" + "00" + "06000101" + "0800017f";
if (addScene(7).toString("hex") !== EXPECTED) throw new Error("not the frame that is to be written: " + addScene(7).toString("hex"));
if (decodeResponse() !== 0x89) throw new Error("the response was not understood");

const entry = (name, time) => ({run_name: name, run_type: "iteration", cpu_time: time, time_unit: "ns"});
console.log(JSON.stringify({
    benchmarks: [entry("zcl_encode/herdsman", measure(addScene)), entry("zcl_decode/herdsman", measure(decodeResponse))],
}));
