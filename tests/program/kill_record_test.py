#!/usr/bin/env python3
"""A house that is recorded is killed at any moment: what is there of its record replays the same, and
nothing is lost but the last second.

    kill_record_test.py PROGRAM HOUSE [TIMES]
"""
import os
import random
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from live_house import LiveHouse

LONGEST_LOSS = 1.0
PUSHES = ("00000007", "00000008")


class Killed(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def live_and_die(self, path, seed):
        """Speaks to a house for a moment, then kills it; when each of its inputs was answered, before
        the end."""
        draw = random.Random(seed)
        house = LiveHouse(PROGRAM, HOUSE, "--speed", "600", "--tell", "quiet", "--faults", "light",
                          "--seed", str(seed), "--record", path)
        try:
            visitor = house.visit()
            end = time.monotonic() + draw.uniform(0.05, 2.5)
            answered = []
            while time.monotonic() < end:
                visitor.ask({"driver": "front_door", "trap": "nx.dmx.bp",
                             "params": [draw.choice(PUSHES)]})
                answered.append(time.monotonic())
            visitor.close()
        finally:
            house.end(signal.SIGKILL)
        dead = time.monotonic()
        return [dead - moment for moment in answered]

    def test_record_of_a_house_that_is_killed_replays(self):
        torn = 0
        for seed in range(1, TIMES + 1):
            path = os.path.join(self.folder.name, f"{seed}.jsonl")
            ages = self.live_and_die(path, seed)
            done = subprocess.run([PROGRAM, "replay", path], capture_output=True, text=True,
                                  check=False, timeout=120)
            self.assertEqual(0, done.returncode, f"seed {seed}: {done.stdout}{done.stderr}")
            torn += "is not whole" in done.stderr
            with open(path, encoding="utf-8") as file:
                kept = sum('"in":' in line for line in file)
            safe = sum(age > LONGEST_LOSS for age in ages)
            self.assertGreaterEqual(kept, safe, f"seed {seed}")
        print(f"{TIMES} records, {torn} with a torn last line", file=sys.stderr)


if __name__ == "__main__":
    PROGRAM, HOUSE = sys.argv[1:3]
    TIMES = int(sys.argv[3]) if len(sys.argv) > 3 else 20
    unittest.main(argv=sys.argv[:1])
