#!/usr/bin/env python3
"""Driver libraries that are wrong: each failure names the house file's line, and a crash the driver.

    driver_library_test.py PROGRAM FOLDER

FOLDER holds the libraries that are built from program/drivers/.
"""
import json
import os
import signal
import subprocess
import sys
import tempfile
import unittest

HOUSE = """<house>
  <driver name="before" type="energy_switch" id="1"/>
  <driver name="mine" type="my_driver" id="2" library="{}"/>
</house>
"""


class DriverLibrary(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.house = os.path.join(folder.name, "house.xml")

    def run_program(self, command, kind, text=""):
        library = kind if kind.startswith("/") else os.path.join(FOLDER, f"libdriver_{kind}.so")
        with open(self.house, "w", encoding="utf-8") as file:
            file.write(HOUSE.format(library))
        return subprocess.run([PROGRAM, command, self.house], input=text, capture_output=True,
                              text=True, check=False, timeout=60)

    def expect_refusal(self, kind, words):
        for command in ("stdio", "run", "validate"):
            result = self.run_program(command, kind)
            said = result.stdout if command == "validate" else result.stderr
            self.assertIn(f"{self.house}:3: ", said, command)
            self.assertIn(words, said, command)
            self.assertEqual(result.returncode, 1, command)

    def test_library_that_is_none_is_refused_with_its_line(self):
        self.expect_refusal(self.house_as_library(), "cannot load the driver library")

    def house_as_library(self):
        with open(self.house + ".so", "w", encoding="utf-8") as file:
            file.write("no library")
        return self.house + ".so"

    def test_library_without_entry_point_is_refused_with_its_line(self):
        self.expect_refusal("no_entry_point", "does not export CreateDriver")

    def test_library_of_another_interface_is_refused_with_its_line(self):
        self.expect_refusal("other_version", "built for version 999 of the driver interface")

    def test_library_that_says_no_version_is_refused_with_its_line(self):
        self.expect_refusal("no_version", "does not say for which version of the driver interface")

    def test_facts_of_another_version_are_refused_with_their_line(self):
        self.expect_refusal("other_facts", "exports facts of version 999")

    def test_facts_that_are_promised_and_not_there_are_refused_with_their_line(self):
        self.expect_refusal("no_facts", "does not export GetDriverFacts")

    def answers(self, *inputs):
        lines = [json.dumps(dict(what, driver="mine")) for what in inputs]
        result = self.run_program("stdio", "facts", "\n".join(lines) + "\n")
        answers = [json.loads(line) for line in result.stdout.splitlines()]
        return [answer.get("error", answer.get("value")) for answer in answers
                if "error" in answer or "answer" in answer]

    def test_queries_carry_values_of_each_kind_there_and_back(self):
        values = [True, -5, 2.5, "text"]
        self.assertEqual([1.5] + values,
                         self.answers({"query": "echo"},
                                      *({"query": "echo", "params": {"x": x}} for x in values)))

    def test_values_that_no_driver_can_take_are_refused(self):
        for value in ([], {}, None, 2 ** 63, 2 ** 64):
            for what in ({"set": {"weather": value}}, {"query": "echo", "params": {"x": value}}):
                self.assertEqual(1, len(self.answers(what)), what)
                self.assertIsInstance(self.answers(what)[0], str, what)

    def test_driver_that_throws_in_its_facts_is_an_error_and_goes_on(self):
        answers = self.answers({"query": "fails"}, {"set": {"weather": 1}}, {"query": "echo"})
        self.assertIn("the driver failed: no idea", answers[0])
        self.assertIn("the driver failed: it rains", answers[1])
        self.assertEqual(1.5, answers[2])

    def test_unknown_facts_and_queries_are_errors(self):
        self.assertEqual(["no such fact", 'a driver of type "my_driver" has no query "other"'],
                         self.answers({"set": {"other": 1}}, {"query": "other"}))

    def test_library_that_makes_no_driver_ends_with_its_line(self):
        for kind in ("makes_none", "throws"):
            result = self.run_program("stdio", kind)
            self.assertIn(f"{self.house}:3: ", result.stderr)
            self.assertIn('driver "mine" was not made', result.stderr)
            self.assertEqual(result.returncode, 1)

    def expect_crash(self, command, operation, number, more=""):
        fine = '{"driver":"mine","command":"FINE"}\n'
        bad = '{"driver":"mine","command":"%s"}\n{"advance_ms":10}\n' % command
        result = self.run_program("stdio", "crashing", fine + bad)
        self.assertEqual(result.returncode, -number)
        self.assertIn(f'lighting-host: driver "mine" crashed in {operation}: ', result.stderr)
        self.assertTrue(result.stdout.endswith('"event":1}\n{"done":1}\n' + more), result.stdout)

    def test_crashes_name_driver_and_operation_and_lose_no_finished_line(self):
        with open(PROGRAM, "rb") as program:
            if b"__asan_init" in program.read():
                self.skipTest("the sanitizer ends a program that crashes in its own way")
        self.expect_crash("READ_NOWHERE", 'the command "READ_NOWHERE"', signal.SIGSEGV)
        self.expect_crash("RECURSE", 'the command "RECURSE"', signal.SIGSEGV)
        self.expect_crash("ABORT", 'the command "ABORT"', signal.SIGABRT)
        self.expect_crash("CRASH_LATER", "a timer", signal.SIGABRT, '{"done":2}\n')

    def test_timer_of_no_time_that_starts_itself_for_ever_is_a_fault(self):
        text = '{"driver":"mine","command":"SPIN"}\n{"advance_ms":3}\n'
        result = self.run_program("stdio", "crashing", text)
        self.assertEqual(result.stdout.count("timers of 0 ms"), 1)
        self.assertTrue(result.stdout.endswith('{"done":2}\n'))


if __name__ == "__main__":
    PROGRAM, FOLDER = map(os.path.abspath, sys.argv[1:3])
    unittest.main(argv=sys.argv[:1])
