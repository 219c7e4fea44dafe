#!/usr/bin/env python3
"""Every transcript, handed in over a WebSocket: a live house answers what `check` expects of one.

    live_transcripts_test.py PROGRAM [TRANSCRIPT...]
"""
import concurrent.futures
import glob
import json
import os
import re
import sys
import unittest

from live_house import LiveHouse

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "transcripts")
# A line of these causes more outputs than a house keeps for its visitors: whoever waits for them is
# told that they are gone, and goes on with what comes after.
STORMS = {"extreme-numbers.jsonl"}
# What a live house says beside what it is told to do.
OWN = {"hello", "cause"}
# By the member that names them; a bound call has a binding too.
KINDS = ["mib", "zcl", "gateway", "event", "variable", "bound_call", "bound_call_result", "binding",
         "condition", "ui", "call", "unhandled", "log", "assert", "error", "state", "answer",
         "house"]


def read(path):
    with open(path, encoding="utf-8") as file:
        head, *lines = [line.strip() for line in file if line.strip() and line[0] != "#"]
    steps = []
    for line in lines:
        # As it is written: read and written again, a number could be another.
        given = re.fullmatch(r'\{\s*"in"\s*:\s*(.*)\}', line)
        if given:
            steps.append((given.group(1), []))
        else:
            steps[-1][1].append(json.loads(line)["out"])
    return json.loads(head), steps


def kind_of(line):
    if "error" in line:
        return "error"
    return next((kind for kind in KINDS if kind in line), None)


def agrees(expected, actual):
    if isinstance(expected, dict) and isinstance(actual, dict):
        return all(name in actual and agrees(value, actual[name])
                   for name, value in expected.items())
    if isinstance(expected, list) and isinstance(actual, list):
        return len(expected) == len(actual) and all(map(agrees, expected, actual))
    return expected == actual and isinstance(expected, bool) == isinstance(actual, bool)


class Transcripts(unittest.TestCase):
    def replay(self, path):
        head, steps = read(path)
        options = []
        for name, value in {"seed": 1, **head}.items():
            if name in ("seed", "draw", "start", "zone"):
                options += ["--" + name, str(value)]
        house = LiveHouse(PROGRAM, os.path.join(os.path.dirname(path), head["house"]), "--bare",
                          "--speed", "pause", "--log-level", "trace", *options)
        visitor = house.visit()
        try:
            gone = self.compare(visitor, head, steps)
            self.assertEqual(os.path.basename(path) in STORMS, gone > 0, f"{gone} times gone")
        finally:
            visitor.close()
            house.end()

    def compare(self, visitor, head, steps):
        """How often lines were gone before they could be read; those of other steps are held."""
        show = head.get("show", [kind for kind in KINDS if kind != "log"])
        gone = 0
        heard = visitor.ask({"since": 0})
        for number, (line, outs) in enumerate(steps, 1):
            heard += visitor.ask(line)
            if any("gone" in one for one in heard):
                gone += 1
                heard = []
                continue
            seen = [one for one in heard if not OWN & one.keys() and kind_of(one) in show]
            heard = []
            # What the drivers' end causes may stand at the end; here nobody hears it.
            if number == len(steps):
                outs = outs[:len(seen)]
            self.assertEqual(len(outs), len(seen), f"{line}: {outs} but {seen}")
            for expected, actual in zip(outs, seen):
                expected = {**expected, **({"line": actual["line"]} if "line" in expected else {})}
                self.assertTrue(agrees(expected, actual), f"{line}: {expected} but {actual}")
        return gone

    def test_every_transcript_passes_over_a_websocket(self):
        paths = PATHS or sorted(glob.glob(os.path.join(FOLDER, "*", "*.jsonl")))
        self.assertTrue(paths)
        with concurrent.futures.ThreadPoolExecutor(max_workers=4) as pool:
            replays = {path: pool.submit(self.replay, path) for path in paths}
        for path, replay in replays.items():
            with self.subTest(os.path.relpath(path, FOLDER)):
                replay.result()


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    PATHS = [os.path.abspath(path) for path in sys.argv[1:]]
    unittest.main(argv=sys.argv[:1])
