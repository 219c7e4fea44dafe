#!/usr/bin/env python3
"""scripts/count_tests counts over several runs and does not call a failure a success."""
import os
import subprocess
import sys
import tempfile
import unittest

COUNT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../scripts/count_tests")


class CountTests(unittest.TestCase):
    @staticmethod
    def case(name, status):
        skipped = {"skip": "SKIP_REGULAR_EXPRESSION_MATCHED", "missing": "Unable to find executable"}
        inner = f"<system-out>said by {name}</system-out>"
        if status in skipped:
            inner += f'<skipped message="{skipped[status]}"/>'
            status = "notrun"
        return f'<testcase name="{name}" status="{status}">{inner}</testcase>'

    def count(self, *runs):
        """Counts these runs, each a list of statuses; gives the result and the lines printed."""
        with tempfile.TemporaryDirectory() as folder:
            paths = []
            for number, statuses in enumerate(runs):
                paths.append(os.path.join(folder, f"{number}.xml"))
                cases = "".join(self.case(f"{number}.{index}", status)
                                for index, status in enumerate(statuses))
                with open(paths[-1], "w", encoding="utf-8") as out:
                    out.write(f"<testsuite>{cases}</testsuite>")
            done = subprocess.run([sys.executable, COUNT, *paths], capture_output=True, text=True,
                                  check=False)
        return done.returncode, done.stdout.splitlines()

    def test_two_good_runs_are_added(self):
        self.assertEqual((0, ["3 passed, 0 failed"]), self.count(["run", "run"], ["run"]))

    def test_failure_in_the_first_run_fails_and_is_shown(self):
        result, lines = self.count(["run", "fail"], ["run"])
        self.assertEqual(1, result)
        self.assertEqual(["FAILED: 0.1", "said by 0.1", "2 passed, 1 failed"], lines)

    def test_skipped_test_is_named(self):
        self.assertEqual((0, ["skipped: 0.1", "1 passed, 0 failed, 1 skipped"]),
                         self.count(["run", "skip"]))

    def test_disabled_test_is_named(self):
        self.assertEqual((0, ["skipped: 0.1", "1 passed, 0 failed, 1 skipped"]),
                         self.count(["run", "disabled"]))

    def test_test_that_could_not_start_is_a_failure(self):
        result, lines = self.count(["run", "missing"])
        self.assertEqual((1, "1 passed, 1 failed"), (result, lines[-1]))

    def test_unknown_status_is_a_failure(self):
        self.assertEqual(1, self.count(["run", "surprise"])[0])

    def test_run_without_tests_fails(self):
        self.assertEqual((1, ["0 passed, 0 failed"]), self.count([]))


if __name__ == "__main__":
    unittest.main()
