#!/usr/bin/env python3
"""Turns the results of the benchmarks into one table of medians, ratios and marks.

Usage: bench/report.py FOLDER [--write FILE]

FOLDER holds the JSON results of one run. A ratio is ours divided by the peer's time (or the peer's
divided by ours where the mark says "at least"). A row without its peer says so; a mark that is not
reached is shown as such.
"""

import argparse
import datetime
import glob
import json
import os
import platform
import statistics

# What is measured, the peer, how the ratio is formed, the mark. "at most": our time / its time;
# "at least": its time / our time, how many times as much we do in the same time.
MARKS = [
    ("parse an 8-digit parameter", "parse/ours", "parse/from_chars", "at most", 0.6),
    ("parse an 8-digit parameter", "parse/ours", "parse/istringstream", "at most", 0.03),
    ("format an 8-digit parameter", "format/ours", "format/fmt", "at most", 1.0),
    ("dispatch among 200 names", "dispatch/ours", "dispatch/unordered_map", "at most", 0.5),
    ("one trap to its event, 60 puck drivers", "trap/ours/60", "trap/ola", "at least", 3.0),
    ("the same at 100,000 drivers", "trap/ours/100000", "trap/ours/60", "at least", 0.4),
    ("re-arm one of 100,000 timers", "rearm/ours", "rearm/libevent", "at most", 0.7),
    ("re-arm one of 100,000 timers", "rearm/ours", "rearm/libev", "at most", 2.0),
    ("add and expire, virtual clock", "expire/ours", "expire/asio", "at most", 0.5),
    ("add and expire, virtual clock", "expire/ours", "expire/multimap", "at least", 3.0),
    ("whole-store checksum, 255 scenes of 16", "scene_crc/ours", "scene_crc/boost", "at most", 1.5),
    ("protocol lines in and out", "stdio/ours", "stdio/jq", "at least", 1.0),
    ("scene push of 16 elements", "push/ours", "push/pugixml", "at most", 6.0),
    ("a log call that is switched off", "log_off/ours", "log_off/isEnabledFor", "at most", 1.1),
]
BYTES_MARK = 2000


def read(folder):
    times, counters = {}, {}
    for path in sorted(glob.glob(os.path.join(folder, "*.json"))):
        with open(path, encoding="utf-8") as file:
            for entry in json.load(file)["benchmarks"]:
                if entry.get("run_type") != "iteration" or entry.get("error_occurred"):
                    continue
                name = entry["run_name"].split("/repeats")[0]
                times.setdefault(name, []).append(entry["cpu_time"])
                for counter in ("allocations", "bytes_each"):
                    if counter in entry:
                        counters[(name, counter)] = entry[counter]
    return {name: statistics.median(values) for name, values in times.items()}, counters


def rows(times, counters):
    for what, ours, peer, sense, mark in MARKS:
        if ours not in times:
            yield [what, peer, "not measured", "", "", f"{sense} {mark}", ""]
            continue
        allocations = counters.get((ours, "allocations"))
        shown = "" if allocations is None else f"{allocations:.2g}"
        if peer not in times:
            yield [what, peer, f"{times[ours]:.1f}", "not installed", shown, f"{sense} {mark}", ""]
            continue
        ratio = times[ours] / times[peer] if sense == "at most" else times[peer] / times[ours]
        reached = ratio <= mark if sense == "at most" else ratio >= mark
        yield [
            what,
            peer,
            f"{times[ours]:.1f}",
            f"{times[peer]:.1f}",
            shown,
            f"{sense} {mark}",
            f"{ratio:.3f}" + ("" if reached else " (not reached)"),
        ]
    size = counters.get(("trap/ours/100000", "bytes_each"))
    if size is not None:
        verdict = "" if size <= BYTES_MARK else " (not reached)"
        yield ["memory of a puck driver, 100,000 of them", "", f"{size:.0f} bytes", "", "",
               f"at most {BYTES_MARK} bytes", f"{size:.0f}{verdict}"]


def table(entries):
    head = ["what", "peer", "ours, ns", "peer, ns", "allocations", "mark", "ratio"]
    lines = ["| " + " | ".join(head) + " |", "| " + " | ".join("---" for _ in head) + " |"]
    lines += ["| " + " | ".join(entry) + " |" for entry in entries]
    return "\n".join(lines) + "\n"


def machine():
    model = platform.machine()
    try:
        with open("/proc/cpuinfo", encoding="utf-8") as file:
            names = [l.split(":", 1)[1].strip() for l in file if l.startswith("model name")]
        model = names[0] if names else model
    except OSError:
        pass
    return f"{model}, {os.cpu_count()} cores, build with -O2, {datetime.date.today()}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder")
    parser.add_argument("--write", default="")
    options = parser.parse_args()
    text = table(list(rows(*read(options.folder))))
    print(text)
    if options.write:
        with open(options.write, "w", encoding="utf-8") as file:
            file.write(f"# Performance\n\nMeasured by `scripts/bench --write`: {machine()}.\n")
            file.write("Medians of seven repetitions in random order on one pinned core.\n\n")
            file.write(text)


if __name__ == "__main__":
    main()
