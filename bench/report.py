#!/usr/bin/env python3
"""Turns the results of the benchmarks into tables of medians, ratios and marks, and a plot.

Usage: bench/report.py RESULTS [--write DOCS]

RESULTS holds the JSON results of one run. A ratio is ours divided by the peer's time, or the peer's
divided by ours where the mark says "at least". A peer that is not there says so; a mark that is not
reached is shown as such. With --write the tables go into DOCS/performance.md, between its two
markers, and the growth over the number of drivers is plotted to DOCS/performance_growth.png.
"""

import argparse
import datetime
import glob
import json
import os
import platform
import re
import statistics
import subprocess
import sys

# What is measured, ours, the peer, how the ratio is formed, the mark. "at most": our time / its
# time; "at least": its time / our time, how many times as much we do in the same time.
MARKS = [
    ("parse an 8-digit parameter", "parse/ours", "parse/from_chars", "at most", 0.6),
    ("parse an 8-digit parameter", "parse/ours", "parse/istringstream", "at most", 0.03),
    ("format an 8-digit parameter", "format/ours", "format/fmt", "at most", 1.0),
    ("dispatch among 200 names", "dispatch/ours", "dispatch/unordered_map", "at most", 0.4),
    ("one trap to its event, 60 puck drivers", "trap/ours/60", "trap/ola", "at least", 15),
    ("the same at 100,000 drivers", "trap/ours/100000", "trap/ours/60", "at least", 0.4),
    ("the same, no two neighbours in a row", "trap/ours_scattered/100000", "trap/ours/60",
     "at least", 0.2),
    ("start and end of 100,000 drivers from a house file", "start/stdio", "start/memory",
     "at least", 0.5),
    ("re-arm one of 100,000 timers", "rearm/ours", "rearm/libevent", "at most", 0.7),
    ("re-arm one of 100,000 timers", "rearm/ours", "rearm/libev", "at most", 2.0),
    ("add and expire, virtual clock", "expire/ours", "expire/asio", "at most", 0.5),
    ("a day of the house's timers", "replay/ours", "replay/multimap", "at least", 4.0),
    ("a day of the house's timers", "replay/ours", "replay/libev", "at least", 1.0),
    ("encode Add Scene", "zcl_encode/ours", "zcl_encode/herdsman", "at most", 0.03),
    ("decode its response", "zcl_decode/ours", "zcl_decode/herdsman", "at most", 0.02),
    ("whole-store checksum, 255 scenes of 16", "scene_crc/store", "scene_crc/boost_alone",
     "at most", 1.05),
    ("protocol lines in and out, a line", "stdio/ours", "stdio/jq", "at least", 6.0),
    ("an input line, kept in a flight record", "input_line/recorded", "input_line/plain",
     "at most", 1.1),
    ("scene push of 16 elements", "push/ours", "push/pugixml", "at most", 4.0),
    ("a ramp of a group of 60 loads", "group_ramp/house", "group_ramp/one_by_one", "at most", 1.0),
    ("a state saved, on the disk", "state/ours", "state/sqlite", "at most", 2.0),
    ("restart of 1,000 lights with their states", "restart/with_state", "restart/without", "at most",
     2.0),
    ("a log call that is switched off", "log_off/ours", "log_off/isEnabledFor", "at most", 1.1),
]
# Figures without a peer: what, whose counter, which counter, its unit, how it is compared, the mark.
FIGURES = [
    ("simulated hours of the example house a second", "house/hours", "hours_a_second", "",
     "at least", 2500),
    ("memory of a puck driver, 100,000 of them", "trap/ours/100000", "bytes_each", " bytes",
     "at most", 1200),
    ("a line with 32 keypads under full load: of its time in use", "bus/full", "busy_percent",
     " %", "at least", 95),
    ("the same: of the octets that 38,400 baud carry", "bus/full", "percent", " %", "at least", 90),
    ("the same: frames a second", "bus/full", "frames_a_second", "", "", None),
    ("synchronisation of a ZigBee light: repairs, over the fewest possible", "zigbee/sync",
     "repairs_ratio", "", "at most", 1.0),
    ("the same: all frames to it, over the fewest possible", "zigbee/sync", "frames_ratio", "",
     "at most", 1.5),
    ("the same: how long it takes, answers after 15 ms", "zigbee/sync", "simulated_ms", " ms", "",
     None),
    ("memory of a simulated puck module", "device/puck", "bytes_each", " bytes", "", None),
    ("memory of a simulated ZigBee light", "device/light", "bytes_each", " bytes", "", None),
    ("memory of a simulated dimmer", "device/dimmer", "bytes_each", " bytes", "", None),
    ("memory of a simulated keypad with its bus", "device/keypad", "bytes_each", " bytes", "", None),
]
COUNTERS = {"allocations", "start_seconds"} | {counter for _, _, counter, *_ in FIGURES}
GROWTH = (10, 1000, 100000)
BEGIN, END = "<!-- measured: begin -->", "<!-- measured: end -->"
PLOT = """
set terminal png size 900,300 font ",9"
set output "{png}"
set multiplot layout 1,3
set logscale x
set xlabel "drivers"
set key off
set grid
set xtics ("10" 10, "1,000" 1000, "100,000" 100000)
set xrange [5:200000]
set yrange [0:*]
set title "traps a second, millions"
plot "{data}" using 1:2 with linespoints pt 7 lw 2
set title "bytes a driver"
plot "{data}" using 1:3 with linespoints pt 7 lw 2
set title "start-up, microseconds a driver"
plot "{data}" using 1:4 with linespoints pt 7 lw 2
"""


def read(folder):
    times, counters = {}, {}
    for path in sorted(glob.glob(os.path.join(folder, "*.json"))):
        with open(path, encoding="utf-8") as file:
            for entry in json.load(file)["benchmarks"]:
                wall = "/real_time" in entry["run_name"]
                name = re.split("/repeats|/real_time|/iterations", entry["run_name"])[0]
                if entry.get("error_occurred"):
                    print(f"{name}: {entry.get('error_message')}", file=sys.stderr)
                    continue
                if entry.get("run_type") != "iteration":
                    continue
                times.setdefault(name, []).append(entry["real_time" if wall else "cpu_time"])
                for counter in COUNTERS:
                    if counter in entry:
                        counters.setdefault((name, counter), []).append(entry[counter])
    return median(times), median(counters)


def median(values):
    return {key: statistics.median(each) for key, each in values.items()}


def reached(ratio, sense, mark):
    return ratio <= mark if sense == "at most" else ratio >= mark


def number(value):
    """Three digits that count, never with an exponent."""
    if value >= 1000:
        return f"{value:,.0f}"
    digits = 0 if value >= 100 else 1 if value >= 10 else 2 if value >= 0.1 else 3
    return f"{value:.{digits}f}"


def rows(times, counters):
    for what, ours, peer, sense, mark in MARKS:
        name = peer.split("/")[1] if peer.split("/")[1] != "ours" else "ours at 60"
        entry = [what, name, "", "", "", f"{sense} {mark}", "not measured"]
        if ours in times:
            allocations = counters.get((ours, "allocations"))
            entry[2] = number(times[ours])
            entry[4] = "" if allocations is None else f"{allocations:.2g}"
            entry[6] = "peer not installed"
        if ours in times and peer in times:
            ratio = times[ours] / times[peer] if sense == "at most" else times[peer] / times[ours]
            entry[3] = number(times[peer])
            entry[6] = number(ratio) + ("" if reached(ratio, sense, mark) else " **not reached**")
        yield entry
    for what, ours, counter, unit, sense, mark in FIGURES:
        value = counters.get((ours, counter))
        verdict = "not measured"
        if value is not None:
            verdict = f"{number(value)}{unit}"
            if mark is not None and not reached(value, sense, mark):
                verdict += " **not reached**"
        yield [what, "", "", "", "", "" if mark is None else f"{sense} {mark:,}{unit}", verdict]


def growth(times, counters):
    for drivers in GROWTH:
        name = f"trap/ours/{drivers}"
        if name in times and (name, "bytes_each") in counters:
            yield (drivers, 1e3 / times[name], counters[(name, "bytes_each")],
                   counters[(name, "start_seconds")])


def table(head, entries):
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
    compiler = subprocess.run(["g++", "-dumpfullversion"], stdout=subprocess.PIPE, text=True,
                              check=False).stdout.strip()
    return (f"{model}, {os.cpu_count()} cores, Linux; g++ {compiler} -O2 (preset `bench`); "
            f"{datetime.date.today()}")


def write(docs, text, grown):
    page = os.path.join(docs, "performance.md")
    with open(page, encoding="utf-8") as file:
        before, rest = file.read().split(BEGIN)
        after = rest.split(END)[1]
    with open(page, "w", encoding="utf-8") as file:
        file.write(f"{before}{BEGIN}\n{text}{END}{after}")
    if len(grown) < len(GROWTH):
        return
    data = "\n".join(f"{d} {traps} {size} {start * 1e6 / d}" for d, traps, size, start in grown)
    plot = PLOT.format(png=os.path.join(docs, "performance_growth.png"), data="$data")
    try:
        subprocess.run(["gnuplot"], input=f"$data << E\n{data}\nE\n{plot}", text=True, check=True)
    except FileNotFoundError:
        print("gnuplot is not installed: the plot stays as it is", file=sys.stderr)


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    parser.add_argument("results")
    parser.add_argument("--write", default="", metavar="DOCS")
    options = parser.parse_args()
    times, counters = read(options.results)
    head = ["what", "peer", "ours, ns", "peer, ns", "allocations", "mark", "ratio or figure"]
    grown = list(growth(times, counters))
    text = f"\nMeasured on: {machine()}.\n\n" + table(head, rows(times, counters)) + "\n"
    text += table(
        ["drivers", "traps a second", "bytes a driver", "start-up, seconds"],
        [[f"{d:,}", f"{t:.1f} million", f"{b:,.0f}", f"{s:.3g}"] for d, t, b, s in grown],
    )
    print(text)
    if options.write:
        write(options.write, text + "\n", grown)


if __name__ == "__main__":
    main()
