#!/usr/bin/env python3
"""Five drivers with a defect each: what is left of a flight record that shows its harm, and the
moment at which the defect struck.

    planted_test.py PROGRAM FOLDER_OF_THE_DRIVERS
"""
import json
import os
import random
import re
import resource
import signal
import subprocess
import sys
import tempfile
import unittest

import flight_record
from flight_record import given

MINUTE = 60000
HOUR = 60 * MINUTE
SYMPTOM = 9000
TRUTH = 1
MOST_SEEDS = 200


def command(driver, word, **params):
    return {"driver": driver, "command": word, "params": params}


class Planted(unittest.TestCase):
    maxDiff = None
    # The driver that shows the symptom.
    victim = "lamp2"

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = os.path.join(self.folder.name, "flight.jsonl")

    def run_program(self, *arguments, **others):
        return subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, check=False,
                              timeout=300, **others)

    def house(self, library, count, inner="", kind="lamp"):
        drivers = "".join(
            f'<driver name="lamp{i}" type="{kind}" id="{i}" library="{LIBRARIES}/{library}.so">'
            f"{inner}</driver>\n" for i in range(1, count + 1))
        return f"<house>\n{drivers}</house>\n"

    def record(self, house, inputs, end_ms, **changes):
        """A record that shows the symptom, with the first seed that has it so."""
        inputs = sorted(inputs, key=lambda line: line["t_ms"])
        for seed in range(1, MOST_SEEDS):
            lines = [flight_record.head(house, seed=seed, **changes), *inputs,
                     {"t_ms": end_ms, "end": "SIGTERM"}]
            with open(self.path, "w", encoding="utf-8") as file:
                file.write(flight_record.text(lines))
            done = self.run_program("replay", self.path, *self.until())
            self.assertIn(done.returncode, (0, 1), done.stderr)
            if done.returncode == 0:
                return
        self.fail("no seed shows the symptom")

    def until(self):
        return "--until-event", f"{self.victim}:{SYMPTOM}"

    def strikes(self):
        """When the defect struck before the harm was seen, as the driver itself tells."""
        done = self.run_program("replay", self.path, "--outputs", *self.until())
        outputs = [json.loads(line) for line in done.stdout.splitlines()]
        return [output["t_ms"] for output in outputs
                if output["driver"] == self.victim and output.get("variable") == TRUTH
                and output.get("op") == "set"]

    def expect_shrunk(self, most_inputs=10):
        small = self.path + ".small"
        done = self.run_program("shrink", self.path, *self.until(), "--to", small)
        self.assertEqual(0, done.returncode, done.stderr)
        with open(small, encoding="utf-8") as file:
            lines = [json.loads(line) for line in file]
        inputs = [line for line in lines if "in" in line]
        self.assertGreater(len(inputs), 0)
        self.assertLessEqual(len(inputs), most_inputs)
        self.assertEqual(1, lines[0]["house"].count("<driver "))
        self.assertIn(f'name="{self.victim}"', lines[0]["house"])
        self.assertIn(": the same ", self.run_program("replay", small).stdout)
        self.assertEqual(0, self.run_program("replay", small, *self.until()).returncode)
        return inputs

    def step(self):
        done = self.run_program("why", self.path, *self.until(), "--json", "--draws", "24")
        self.assertEqual(0, done.returncode, done.stderr)
        why = json.loads(done.stdout)
        self.assertEqual("chance", why["cause"])
        self.assertLessEqual(why["certain_ms"] - why["avoidable_ms"], 1000)
        return why["avoidable_ms"], why["certain_ms"]

    def expect_step_in_minute_of(self, t_ms):
        avoidable, certain = self.step()
        self.assertEqual(t_ms // MINUTE, certain // MINUTE)
        self.assertLess(avoidable, t_ms + 1)

    def record_lost_release(self):
        draw = random.Random(1)
        inputs = []
        for lamp in range(1, 5):
            at = 30000
            while at < 2 * HOUR:
                inputs.append(given(at, command(f"lamp{lamp}", "PRESS")))
                inputs.append(given(at + 1200, command(f"lamp{lamp}", "RELEASE")))
                at += draw.randint(200000, 400000)
        self.record(self.house("LostRelease", 4), inputs, 2 * HOUR + 10 * MINUTE)

    def test_interrupted_shrink_keeps_what_it_has(self):
        self.record_lost_release()
        small = self.path + ".small"
        with subprocess.Popen(
                [PROGRAM, "shrink", self.path, *self.until(), "--to", small, "--seeds", "100000"],
                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True) as shrink:
            self.assertIn("fires event", shrink.stderr.readline())
            shrink.send_signal(signal.SIGINT)
            self.assertIn("stopped before its end", shrink.stderr.read())
            self.assertEqual(128 + signal.SIGINT, shrink.wait())
        self.assertEqual(0, self.run_program("replay", small, *self.until()).returncode)

    def test_page_of_why_holds_what_it_found_and_overwrites_nothing(self):
        self.record_lost_release()
        page = os.path.join(self.folder.name, "why.html")
        why = ("why", self.path, *self.until(), "--json", "--draws", "4", "--html", page)
        done = self.run_program(*why)
        with open(page, encoding="utf-8") as file:
            held = re.search(r'id="odds">(.*?)</script>', file.read()).group(1)
        self.assertEqual(json.loads(done.stdout), json.loads(held))
        again = self.run_program(*why)
        self.assertEqual((2, ""), (again.returncode, again.stdout))
        self.assertIn("File exists", again.stderr)

    def test_page_of_why_that_cannot_be_is_told_and_none_is_left(self):
        self.record_lost_release()
        page = os.path.join(self.folder.name, "why.html")
        full = self.run_program("why", self.path, *self.until(), "--draws", "4", "--html", page,
                                preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (9, 9)))
        self.assertEqual(2, full.returncode, full.stderr)
        self.assertIn(page, full.stderr)
        self.assertFalse(os.path.exists(page))
        nowhere = self.run_program("why", self.path, *self.until(), "--html", "/nowhere/why.html")
        self.assertEqual(2, nowhere.returncode)

    def test_lost_release(self):
        self.record_lost_release()
        strike = self.strikes()[-1]
        self.expect_step_in_minute_of(strike)
        left = self.expect_shrunk()
        self.assertEqual(["PRESS", "RELEASE"], [line["in"]["command"] for line in left[-2:]])

    def test_scene_in_the_wrong_group(self):
        inputs = []
        for lamp in range(1, 4):
            for scene in range(12):
                at = scene * 7 * MINUTE + lamp * 10000
                inputs.append(given(at, command(f"lamp{lamp}", "STORE", SCENE=scene,
                                                GROUP=scene + 1)))
                inputs.append(given(at + 340 + scene, command(f"lamp{lamp}", "STORE",
                                                              SCENE=scene + 100, GROUP=200)))
                inputs.append(given(3 * HOUR + at, command(f"lamp{lamp}", "RECALL", SCENE=scene,
                                                           GROUP=scene + 1)))
        self.record(self.house("WrongGroup", 3), inputs, 5 * HOUR)
        left = self.expect_shrunk()
        scene = left[-1]["in"]["params"]["SCENE"]
        self.assertEqual("RECALL", left[-1]["in"]["command"])
        # The defect struck when that scene was stored.
        self.expect_step_in_minute_of(scene * 7 * MINUTE + 2 * 10000)

    def test_queue_that_folds_too_much(self):
        inputs = []
        for lamp in range(1, 4):
            for turn in range(8):
                at = turn * 20 * MINUTE + lamp * 9000
                for offset, word in ((0, "LEVEL"), (100, "LOCK"), (530, "LEVEL"),
                                     (15 * MINUTE, "PRESS"), (16 * MINUTE, "UNLOCK")):
                    inputs.append(given(at + offset, command(f"lamp{lamp}", word)))
        self.record(self.house("FoldingQueue", 3), inputs, 3 * HOUR)
        strike = self.strikes()[-1]
        self.expect_step_in_minute_of(strike)
        left = self.expect_shrunk()
        self.assertEqual(["LEVEL", "LOCK", "LEVEL", "PRESS"],
                         [line["in"]["command"] for line in left[-4:]])

    def test_total_that_skips_midnight(self):
        inputs = [given(hour * HOUR + lamp * 1000, command(f"lamp{lamp}", "READ"))
                  for hour in range(9) for lamp in range(1, 4)]
        self.record(self.house("MidnightTotal", 3), inputs, 9 * HOUR, start="2026-03-03T21:00:00")
        left = self.expect_shrunk()
        self.assertEqual(1, len(left))
        avoidable, certain = self.step()
        # The last report before midnight has drawn when the next one comes.
        self.assertGreaterEqual(avoidable, 3 * HOUR - MINUTE - 1000)
        self.assertLessEqual(certain, 3 * HOUR)

    def test_reply_that_meets_a_restart(self):
        inputs = []
        for lamp in range(1, 3):
            for turn in range(12):
                at = turn * 10 * MINUTE + lamp * 8000
                inputs.append(given(at, command(f"lamp{lamp}", "ASK")))
                inputs.append(given(at + 900, {"driver": f"lamp{lamp}", "restart": True}))
            inputs.append(given(3 * HOUR + lamp, command(f"lamp{lamp}", "LOOK")))
        self.record(self.house("ReplyMeetsRestart", 2, '<device simulated="true"/>', "puck"),
                    inputs, 4 * HOUR, people=True, faults="heavy")
        # What was taken for a change once stays one.
        strike = self.strikes()[0]
        self.expect_step_in_minute_of(strike)
        left = self.expect_shrunk()
        self.assertEqual("LOOK", left[-1]["in"]["command"])


if __name__ == "__main__":
    PROGRAM, LIBRARIES = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1])
