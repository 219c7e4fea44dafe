#!/usr/bin/env python3
"""new-driver writes what the example holds, and refuses what it cannot do without a trace.

    new_driver_test.py PROGRAM
"""
import os
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
EXAMPLE = os.path.join(ROOT, "examples/my_first_driver")


def files_of(folder):
    found = {}
    for name in sorted(os.listdir(folder)):
        with open(os.path.join(folder, name), "rb") as file:
            found[name] = file.read()
    return found


class NewDriver(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.place = tempfile.TemporaryDirectory()
        self.addCleanup(self.place.cleanup)

    def new_driver(self, *arguments):
        return subprocess.run([PROGRAM, "new-driver", *arguments], capture_output=True, text=True,
                              check=False, cwd=self.place.name)

    def path(self, name):
        return os.path.join(self.place.name, name)

    def assert_refused(self, word, *arguments):
        done = self.new_driver(*arguments)
        self.assertEqual((2, ""), (done.returncode, done.stdout), arguments)
        self.assertIn(word, done.stderr)

    def test_example_is_what_is_written(self):
        done = self.new_driver("doorbell")
        self.assertEqual((0, ""), (done.returncode, done.stderr))
        self.assertEqual(files_of(EXAMPLE), files_of(self.path("doorbell")))

    def test_folder_can_be_said_and_may_be_there_if_it_is_empty(self):
        os.makedirs(self.path("mine"))
        self.assertEqual(0, self.new_driver("garden_gate", "mine", "--base", "mib").returncode)
        self.assertEqual(0, self.new_driver("gate2", "deep/er").returncode)
        self.assertIn("GardenGate.cpp", os.listdir(self.path("mine")))
        self.assertIn("Gate2Test.cpp", os.listdir(self.path("deep/er")))

    def test_folder_that_holds_something_is_left_alone(self):
        os.makedirs(self.path("doorbell"))
        with open(self.path("doorbell/mine.txt"), "w", encoding="utf-8") as file:
            file.write("mine")
        self.assert_refused("is not empty", "doorbell")
        self.assertEqual({"mine.txt": b"mine"}, files_of(self.path("doorbell")))

    def test_file_in_place_of_the_folder_is_left_alone(self):
        with open(self.path("taken"), "w", encoding="utf-8") as file:
            file.write("mine")
        self.assert_refused("taken", "doorbell", "taken")
        self.assertEqual({"taken": b"mine"}, files_of(self.place.name))

    def test_names_that_no_driver_can_have_are_refused_and_nothing_is_written(self):
        for name in ("", "Doorbell", "my-driver", "2fast", "a__b", "a_", "_a", "../up", "a b",
                     "x" * 41, "nx_gate", "test", "puck", "énergie", "create_driver"):
            self.assert_refused("lighting-host: ", "--", name)
        self.assert_refused("as there is one", "bus485_helper", "--base", "bus")
        self.assertEqual([], os.listdir(self.place.name))

    def test_unknown_base_and_missing_name_are_refused(self):
        self.assert_refused("did you mean zcl", "doorbell", "--base", "zlc")
        self.assert_refused("NAME", "--base", "zcl")
        self.assertEqual([], os.listdir(self.place.name))


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
