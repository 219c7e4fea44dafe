#!/usr/bin/env python3
"""From a house that lives to its flight record, and back to a house that lives.

    serve_record_test.py PROGRAM FOLDER_OF_DRIVER_LIBRARIES
"""
import json
import os
import subprocess
import sys
import tempfile
import unittest

from live_house import LiveHouse

MINUTE = 60000
MOVE = {"driver": "lamp", "command": "MOVE", "params": {}}


class ReplayedHouse(LiveHouse):
    """The program with a record that goes on on the page."""

    def __init__(self, program, record, *options):
        # pylint: disable=super-init-not-called
        self.process = subprocess.Popen(
            [program, "replay", record, "--serve", "--listen", "127.0.0.1:0", *options],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        self.told = []
        self.ended = None
        self.port = self._find_port()


class ServeRecord(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = os.path.join(self.folder.name, "flight.jsonl")
        self.house = os.path.join(self.folder.name, "house.xml")
        with open(self.house, "w", encoding="utf-8") as file:
            file.write(f'<house><driver name="lamp" type="lamp" id="1" '
                       f'library="{LIBRARIES}/Lamp.so"/></house>\n')

    def replay(self, *options):
        return subprocess.run([PROGRAM, "replay", self.path, *options], capture_output=True,
                              text=True, check=False, timeout=60)

    def outputs(self, *options):
        return self.replay("--outputs", *options).stdout.splitlines()

    def live(self, *options):
        """Some minutes of the lamp's life, recorded."""
        house = LiveHouse(PROGRAM, self.house, "--speed", "pause", "--seed", "5", "--record",
                          self.path, *options)
        visitor = house.visit()
        for _ in range(20):
            visitor.ask(MOVE)
            visitor.ask({"advance_ms": 7000})
        visitor.close()
        status, told = house.end()
        self.assertEqual(0, status, told)

    def test_record_of_a_life_is_the_same(self):
        self.live()
        done = self.replay()
        self.assertEqual(0, done.returncode, done.stdout)
        self.assertIn("the same up to 00h02m20.000s: 21 outputs, 20 inputs, 3 digests", done.stdout)

    def expect_difference(self):
        before = self.outputs()
        after = self.outputs("--library", f"lamp={LIBRARIES}/LampChanged.so")
        first = next(i for i, pair in enumerate(zip(before, after)) if pair[0] != pair[1])
        done = self.replay("--library", f"lamp={LIBRARIES}/LampChanged.so")
        self.assertEqual(1, done.returncode)
        minute = json.loads(before[first])["t_ms"] // MINUTE + 1
        self.assertIn(f"differs in the minute up to 00h0{minute}m00.000s", done.stdout)
        self.assertIn(f", at output {first + 1}\n  recorded  {before[first]}\n"
                      f"  here      {after[first]}\n", done.stdout)

    def test_driver_changed_in_one_line_is_found_at_its_first_different_output(self):
        self.live()
        self.expect_difference()

    def test_both_sides_are_known_of_a_record_that_keeps_its_outputs(self):
        self.live("--record-outputs")
        self.expect_difference()

    def test_record_that_is_spoilt_differs_and_says_what_is_known(self):
        self.live()
        with open(self.path, encoding="utf-8") as file:
            lines = file.readlines()
        lines.remove(next(line for line in lines if '"in":' in line and '"t_ms":63000' in line))
        with open(self.path, "w", encoding="utf-8") as file:
            file.writelines(lines)
        done = self.replay()
        self.assertEqual(1, done.returncode)
        self.assertIn("differs in the minute up to 00h02m00.000s", done.stdout)
        self.assertIn("the record does not keep its outputs", done.stdout)

    def test_goes_on_on_the_page(self):
        self.live()
        house = ReplayedHouse(PROGRAM, self.path, "--until", "70s")
        self.addCleanup(house.end)
        clock = house.snapshot()["clock"]
        self.assertEqual((70000, True), (clock["t_ms"], clock["paused"]))
        visitor = house.visit()
        self.addCleanup(visitor.close)
        hello = visitor.line()
        # The eleven moves of the record, and the first line of the start.
        visitor.send({"hear": {"kinds": ["variable"]}, "since": 0})
        heard = [visitor.line() for _ in range(12)]
        self.assertEqual(self.outputs("--until", "70s"),
                         [self.without_numbers(line) for line in heard])
        self.assertGreaterEqual(hello["seq"], 12)
        visitor.send(MOVE)
        self.assertEqual(70000, visitor.until(lambda line: "variable" in line)["t_ms"])

    def test_stops_on_the_page_at_what_it_is_run_up_to(self):
        self.live()
        value = json.loads(self.outputs()[15])["value"]
        house = ReplayedHouse(PROGRAM, self.path, "--until-break",
                              json.dumps({"variable": 1, "is": value}))
        self.addCleanup(house.end)
        self.assertEqual(7000 * 14, house.snapshot()["clock"]["t_ms"])

    @staticmethod
    def without_numbers(line):
        kept = {key: value for key, value in line.items() if key not in ("seq", "of")}
        return json.dumps(kept, separators=(",", ":"))


if __name__ == "__main__":
    PROGRAM, LIBRARIES = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1])
