#!/usr/bin/env python3
"""Measures what needs a program on either side, in turns, seven times each, on one core.

Usage: bench/measure_programs.py BUILD RESULTS

Protocol lines through `lighting-host stdio` beside `jq -c .` over the same input; the start of a
large house from its file beside one that is parsed and made in memory; the restart of a house with
the states that it kept beside one that keeps none; a ZCL frame written and one read beside
zigbee-herdsman, where scripts/bench --with-peers has put it into BUILD/npm. RESULTS is the folder for the JSON results; what is not installed is left out.
"""

import json
import os
import resource
import shutil
import subprocess
import sys
import tempfile
import time

BENCH = os.path.dirname(os.path.abspath(__file__))
LINES = 200000
REPETITIONS = 7
DRIVERS = 100000
START_REPETITIONS = 3
LIGHTS = 1000
SCENES = 8
HOUSE = '<house><driver name="p" type="puck" id="1">'
HOUSE += '<capability name="load_present">true</capability></driver></house>'


def entry(name, nanoseconds, **more):
    """One repetition, as Google Benchmark writes it."""
    return dict(run_name=name, run_type="iteration", cpu_time=nanoseconds, time_unit="ns", **more)


def write(folder, name, entries):
    with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
        json.dump({"benchmarks": entries}, file)


def seconds(command, source):
    with open(source, "rb") as lines:
        begin = time.perf_counter()
        subprocess.run(command, stdin=lines, stdout=subprocess.DEVNULL, check=True)
        return time.perf_counter() - begin


def processor_seconds(command):
    """Without what others on the machine take, as Google Benchmark measures the peer."""
    def used():
        usage = resource.getrusage(resource.RUSAGE_CHILDREN)
        return usage.ru_utime + usage.ru_stime

    begin = used()
    subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=True)
    return used() - begin


def protocol_lines(program):
    entries = []
    with tempfile.TemporaryDirectory() as folder:
        house = os.path.join(folder, "house.xml")
        with open(house, "w", encoding="utf-8") as file:
            file.write(HOUSE)
        source = os.path.join(folder, "input.jsonl")
        with open(source, "w", encoding="utf-8") as file:
            for i in range(LINES):
                mib = "nx.dmx.he" if i % 2 else "nx.dmx.bp"
                line = {"driver": "p", "trap": mib, "params": [f"0000000{7 + i // 2 % 2}"]}
                file.write(json.dumps(line, separators=(",", ":")) + "\n")
        commands = {"stdio/ours": [program, "stdio", house]}
        if shutil.which("jq"):
            commands["stdio/jq"] = ["jq", "-c", "."]
        for _ in range(REPETITIONS):
            for name, command in commands.items():
                entries.append(entry(name, seconds(command, source) * 1e9 / LINES))
    return entries


def start(build):
    """A house that starts and ends again, at once; the peer makes the same drivers in memory."""
    peer = [os.path.join(build, "bin", "bench", "TrapBench"), "--benchmark_filter=^start/memory",
            "--benchmark_format=json"]
    entries = []
    with tempfile.TemporaryDirectory() as folder:
        house = os.path.join(folder, "house.xml")
        with open(house, "w", encoding="utf-8") as file:
            file.write("<house>\n")
            for i in range(DRIVERS):
                file.write(f'<driver name="puck{i}" type="puck" id="{i + 1}">'
                           '<capability name="load_present">true</capability></driver>\n')
            file.write("</house>\n")
        command = [os.path.join(build, "bin", "lighting-host"), "stdio", house]
        for _ in range(START_REPETITIONS):
            entries.append(entry("start/stdio", processor_seconds(command) * 1e9))
            done = subprocess.run(peer, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                  check=True)
            entries += json.loads(done.stdout)["benchmarks"]
    return entries


def restart(program, results):
    """1,000 lights with eight scenes each, started with what the state file has and saved again."""
    entries = []
    # Beside the results, because a folder for temporary files may be in memory.
    with tempfile.TemporaryDirectory(dir=results) as folder:
        house = os.path.join(folder, "house.xml")
        with open(house, "w", encoding="utf-8") as file:
            file.write("<house>\n")
            for i in range(LIGHTS):
                file.write(f'<driver name="l{i}" type="zigbee_light" id="{i + 1}"/>\n')
            file.write("</house>\n")
        lines = os.path.join(folder, "scenes.jsonl")
        with open(lines, "w", encoding="utf-8") as file:
            for i in range(LIGHTS * SCENES):
                params = {"SCENE_ID": (i // LIGHTS + 1) << 16 | 1, "LEVEL": 50, "TIME": 1000}
                line = {"driver": f"l{i % LIGHTS}", "command": "ADD_TO_SCENE", "params": params}
                file.write(json.dumps(line) + "\n")
        state = os.path.join(folder, "state")
        with_state = [program, "stdio", house, "--state", state]
        seconds(with_state, lines)
        commands = {"restart/with_state": with_state, "restart/without": [program, "stdio", house]}
        for _ in range(REPETITIONS):
            for name, command in commands.items():
                entries.append(entry(name, seconds(command, os.devnull) * 1e9))
    return entries


def zcl_frames(build):
    ours = [os.path.join(build, "bin", "bench", "ZclBench"), "--benchmark_format=json"]
    commands = [ours + ["--benchmark_min_time=0.2"]]
    peer = os.path.join(build, "npm", "package")
    if shutil.which("node") and os.path.isdir(peer):
        commands.append(["node", os.path.join(BENCH, "zcl_peer.js"), peer])
    entries = []
    for _ in range(REPETITIONS):
        for command in commands:
            done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                  check=True)
            entries += json.loads(done.stdout)["benchmarks"]
    return entries


def main():
    build, results = sys.argv[1:]
    write(results, "stdio.json", protocol_lines(os.path.join(build, "bin", "lighting-host")))
    write(results, "start.json", start(build))
    write(results, "restart.json", restart(os.path.join(build, "bin", "lighting-host"), results))
    write(results, "zcl.json", zcl_frames(build))


if __name__ == "__main__":
    main()
