#!/usr/bin/env python3
"""The soak of a driver finds each defect that is planted in one, and says the least that it takes.

    soak_test.py PROGRAM LIBRARY
"""
import json
import os
import signal
import subprocess
import sys
import tempfile
import unittest

HOUSE = """<house>
  <driver name="{}" type="soaked" id="1" library="elsewhere.so">
    <config><DEFECT>{}</DEFECT></config>{}
  </driver>
</house>
"""


class Soak(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.record = os.path.join(self.folder, "soak-1.jsonl")

    def run_program(self, *arguments):
        return subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, check=False,
                              timeout=300, cwd=self.folder)

    def soak(self, defect, *options, device="", name="soaked"):
        with open(os.path.join(self.folder, "house.xml"), "w", encoding="utf-8") as file:
            file.write(HOUSE.format(name, defect, device))
        return self.run_program("soak", "--library", LIBRARY, "--type", "soaked", "--house",
                                "house.xml", "--for", "4h", *options)

    def find(self, defect, words, *options):
        """What is told of the defect, and the inputs that are left."""
        done = self.soak(defect, *options)
        self.assertEqual(1, done.returncode, done.stdout + done.stderr)
        first = done.stdout.splitlines()[0]
        self.assertTrue(first.startswith("seed 1: "), first)
        self.assertIn(words, first)
        with open(self.record, encoding="utf-8") as file:
            lines = [json.loads(line) for line in file]
        inputs = [line["in"] for line in lines if "in" in line]
        for line in inputs:
            self.assertIn("  " + json.dumps(line, separators=(",", ":"), ensure_ascii=True),
                          done.stdout)
        return inputs

    def test_driver_in_order_has_nothing_wrong(self):
        done = self.soak("")
        self.assertEqual(0, done.returncode, done.stdout + done.stderr)
        self.assertRegex(done.stdout, r"^seed 1: nothing went wrong in 0?4h.* of the house, with "
                                      r"[1-9]\d+ inputs\n$")
        self.assertFalse(os.path.exists(self.record))

    def test_impossible_input_that_is_reported_is_no_defect(self):
        done = self.soak("reports")
        self.assertEqual(0, done.returncode, done.stdout + done.stderr)

    def test_library_that_cannot_be_loaded_is_no_finding(self):
        library = os.path.join(self.folder, "empty.so")
        with open(library, "w", encoding="utf-8"):
            pass
        done = self.run_program("soak", "--library", library, "--type", "soaked", "--for", "4h")
        self.assertEqual((2, ""), (done.returncode, done.stdout))
        self.assertIn("cannot load the driver library: ", done.stderr)
        self.assertFalse(os.path.exists(self.record))

    def test_crash_is_found_with_the_two_inputs_that_it_takes(self):
        inputs = self.find("crashes", 'driver "soaked" crashed in the command "RECALL": abort')
        self.assertEqual(["STORE", "RECALL"], [line["command"] for line in inputs])
        self.assertIn("SHELF_NUMBER", inputs[0]["params"])

    def test_record_of_a_crash_crashes_the_replay(self):
        self.find("crashes", "abort")
        done = self.run_program("replay", self.record)
        self.assertEqual(-signal.SIGABRT, done.returncode, done.stdout + done.stderr)
        self.assertIn('crashed in the command "RECALL"', done.stderr)

    def test_crash_in_a_timer_is_found_with_the_time_that_passes(self):
        inputs = self.find("crashes_later", "crashed in a timer")
        self.assertEqual("STORE", inputs[0]["command"])
        self.assertLessEqual(5000, sum(line["advance_ms"] for line in inputs[1:]))

    def test_end_of_the_program_is_found(self):
        inputs = self.find("exits", "a driver ended the program with the status 0")
        self.assertEqual("RECALL", inputs[-1]["command"])

    def test_operation_that_does_not_come_back_is_found(self):
        inputs = self.find("spins", "keeps the processor busy", "--longest", "200ms")
        self.assertEqual(["STORE", "RECALL"], [line["command"] for line in inputs])

    def test_what_a_sanitizer_finds_is_found(self):
        with open(PROGRAM, "rb") as file:
            if b"__asan_init" not in file.read():
                self.skipTest("neither program nor driver has a sanitizer in this build")
        inputs = self.find("reads_beyond", "AddressSanitizer: heap-buffer-overflow")
        self.assertEqual(["STORE", "RECALL"], [line["command"] for line in inputs])

    def test_exception_is_found(self):
        inputs = self.find("throws", "too long a report")
        self.assertEqual(1, len(inputs))
        self.assertEqual("soaked.report", inputs[0]["trap"])
        done = self.run_program("replay", self.record, "--until-fault")
        self.assertEqual(0, done.returncode, done.stderr)
        self.assertIn("too long a report", done.stdout)

    def test_state_that_a_restart_loses_is_found(self):
        inputs = self.find("forgets", "the state changed in a restart of soaked: ")
        self.assertEqual(["command", "persist", "restart", "persist"],
                         [list(line)[1] for line in inputs])

    def test_timers_that_grow_are_found(self):
        inputs = self.find("starts_timers", "21 timers of drivers run at once", "--timers", "20")
        self.assertEqual(["STORE"] * 21, [line["command"] for line in inputs])

    def test_timer_that_outlives_its_driver_is_found(self):
        inputs = self.find("leaves_timer", "a timer ran on when its driver had gone")
        self.assertEqual(["STORE"], [line["command"] for line in inputs])

    def test_memory_that_is_kept_is_found(self):
        inputs = self.find("leaks", "memory is kept: ")
        self.assertEqual(["STORE"], [line["command"] for line in inputs])

    def test_house_with_a_device_is_soaked_with_faults_on_its_wire(self):
        done = self.soak("", device='<device simulated="true" kind="wired_dimmer"/>')
        self.assertEqual(0, done.returncode, done.stdout + done.stderr)
        inputs = self.find_with_device()
        self.assertEqual(["STORE", "RECALL"], [line["command"] for line in inputs])

    def find_with_device(self):
        done = self.soak("crashes", device='<device simulated="true" kind="puck_module"/>')
        self.assertEqual(1, done.returncode, done.stderr)
        with open(self.record, encoding="utf-8") as file:
            head, *lines = map(json.loads, file)
        self.assertEqual(("none", False), (head["faults"], head["people"]))
        return [line["in"] for line in lines if "in" in line]

    def test_same_seed_finds_the_same_and_another_seed_another_story(self):
        said = []
        for seed in ("1", "1", "2"):
            done = self.soak("throws", "--seed", seed, "--to", f"{len(said)}.jsonl")
            self.assertEqual(1, done.returncode)
            said.append([line for line in done.stdout.splitlines() if line.startswith("  ")])
        self.assertEqual(said[0], said[1])
        self.assertNotEqual(said[0], said[2])

    def test_library_and_type_alone_are_enough(self):
        done = self.run_program("soak", "--library", LIBRARY, "--type", "soaked", "--for", "1h")
        self.assertEqual((0, ""), (done.returncode, done.stderr))

    def expect_refusal(self, words, *arguments):
        done = self.run_program("soak", *arguments)
        self.assertEqual((2, ""), (done.returncode, done.stdout))
        self.assertIn(words, done.stderr)

    def test_what_cannot_be_soaked_is_refused(self):
        given = ("--library", LIBRARY, "--type", "soaked")
        self.expect_refusal("there is no driver library", "--library", "none.so", "--type", "soaked")
        self.expect_refusal("none.xml: cannot be read", *given, "--house", "none.xml")
        with open(self.record, "w", encoding="utf-8") as file:
            file.write("mine")
        self.expect_refusal("is there already", *given)
        with open(self.record, encoding="utf-8") as file:
            self.assertEqual("mine", file.read())
        with open(os.path.join(self.folder, "house.xml"), "w", encoding="utf-8") as file:
            file.write("<house/>")
        self.expect_refusal('no driver of the type "soaked"', *given, "--house", "house.xml",
                            "--to", "other.jsonl")


if __name__ == "__main__":
    PROGRAM, LIBRARY = map(os.path.abspath, sys.argv[1:3])
    unittest.main(argv=sys.argv[:1])
