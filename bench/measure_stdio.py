#!/usr/bin/env python3
"""Measures protocol lines through `lighting-host stdio` beside `jq -c .` over the same input.

Usage: bench/measure_stdio.py PROGRAM RESULT.json

In turns, seven times each; jq is left out where it is not installed.
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

LINES = 200000
REPETITIONS = 7
HOUSE = '<house><driver name="p" type="puck" id="1">'
HOUSE += '<capability name="load_present">true</capability></driver></house>'


def seconds(command, source):
    with open(source, "rb") as lines:
        begin = time.perf_counter()
        subprocess.run(command, stdin=lines, stdout=subprocess.DEVNULL, check=True)
        return time.perf_counter() - begin


def main():
    program, result = sys.argv[1:]
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
                nanoseconds = seconds(command, source) * 1e9 / LINES
                entries.append(
                    {
                        "run_name": name,
                        "run_type": "iteration",
                        "real_time": nanoseconds,
                        "cpu_time": nanoseconds,
                        "time_unit": "ns",
                    }
                )
    with open(result, "w", encoding="utf-8") as file:
        json.dump({"benchmarks": entries}, file)


if __name__ == "__main__":
    main()
