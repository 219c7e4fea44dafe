#!/usr/bin/env python3
"""Every released version's state file is read, with all that its drivers kept.

    released_states_test.py PROGRAM

released_states/ has, for each version, the file that it left (VERSION.db) of drivers of every type in
house.xml, and what that version said of their states at its end (VERSION.json). Both come from the
version itself and never change; a new version adds its own.
"""
import glob
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
FOLDER = os.path.join(ROOT, "tests/program/released_states")


def states(file):
    """What the drivers of the house keep when they start from this file."""
    with open(file[:-3] + ".json", encoding="utf-8") as text:
        expected = json.load(text)
    lines = "".join(json.dumps({"driver": driver, "persist": True}) + "\n" for driver in expected)
    with tempfile.TemporaryDirectory() as folder:
        copy = shutil.copy(file, folder)
        done = subprocess.run([PROGRAM, "stdio", os.path.join(FOLDER, "house.xml"), "--state", copy],
                              input=lines, capture_output=True, text=True, check=True)
    said = [json.loads(line) for line in done.stdout.splitlines()]
    return expected, {line["driver"]: line["state"] for line in said if "state" in line}


class ReleasedStates(unittest.TestCase):
    maxDiff = None

    def test_state_file_of_each_version_is_read(self):
        files = glob.glob(FOLDER + "/*.db")
        self.assertNotEqual([], files)
        for file in files:
            with self.subTest(file=os.path.basename(file)):
                self.assertEqual(*states(file))

    def test_there_is_one_of_every_version_in_the_changelog(self):
        with open(os.path.join(ROOT, "CHANGELOG.md"), encoding="utf-8") as text:
            versions = re.findall(r"^## (\d+\.\d+\.\d+)", text.read(), re.MULTILINE)
        self.assertEqual({version + ".db" for version in versions},
                         {os.path.basename(file) for file in glob.glob(FOLDER + "/*.db")})


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
