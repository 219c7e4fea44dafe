#!/usr/bin/env python3
"""The program's command line: its options, its exit statuses, and that whoever waits for an answer
gets it.

    command_line_test.py PROGRAM
"""
import json
import os
import subprocess
import sys
import tempfile
import unittest

PUCK = """<house><driver name="p" type="puck" id="1">
<capability name="load_present">true</capability></driver></house>"""
KEYPAD = '<house><driver name="k" type="gen3_keypad" id="7"/></house>'
LIGHT = '<house><driver name="z" type="zigbee_light" id="21"/></house>'
PUSH = {"driver": "p", "trap": "nx.dmx.bp", "params": ["7"]}
NO_SUCH_BUTTON = {"driver": "p", "trap": "nx.dmx.bp", "params": ["a"]}


class CommandLine(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def write(self, name, text):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)
        return self.path(name)

    def run_program(self, *arguments, text=""):
        return subprocess.run([PROGRAM, *arguments], input=text, capture_output=True, text=True,
                              check=False, timeout=60)

    def stdio(self, house, inputs, *options):
        """The outputs but "done" of these inputs, and the run."""
        text = "".join(json.dumps(line) + "\n" for line in inputs)
        done = self.run_program("stdio", self.write("house.xml", house), *options, text=text)
        outputs = [json.loads(line) for line in done.stdout.splitlines()]
        return [output for output in outputs if "done" not in output], done

    def retry_times(self, *options):
        """When a keypad's bus sends an unanswered message again."""
        outputs, done = self.stdio(KEYPAD, [
            {"driver": "k", "set": {"gateway_online": True, "device_online": True}},
            {"driver": "k", "bus": {"queue": {"opcode": 8192, "payload": "f0"}}},
            {"advance_ms": 90000}], *options)
        self.assertEqual(0, done.returncode, done.stderr)
        return [output["t_ms"] for output in outputs if "gateway" in output]


class Usage(CommandLine):
    def expect_bad_usage(self, *arguments):
        done = self.run_program(*arguments)
        self.assertEqual(2, done.returncode, arguments)
        self.assertEqual("", done.stdout)
        self.assertNotEqual("", done.stderr)

    def test_bad_usage_ends_with_2(self):
        house = self.write("house.xml", PUCK)
        for arguments in ([], ["dance"], ["stdio"], ["run"], ["check"], ["validate"],
                          ["stdio", house, "--loud"], ["stdio", house, house],
                          ["validate", house, "--seed", "1"], ["check", house, "--record", "x"]):
            with self.subTest(arguments):
                self.expect_bad_usage(*arguments)

    def test_bad_option_values_end_with_2(self):
        house = self.write("house.xml", PUCK)
        for option in (["--seed"], ["--seed", "abc"], ["--seed", "-1"], ["--seed", "1.5"],
                       ["--draw", "middle"], ["--draw", "LOW"], ["--start", "now"],
                       ["--start", "2026-02-30T00:00:00"], ["--start", ""],
                       ["--log-level", "loud"], ["--log-level", "TRACE"]):
            for command in ("stdio", "run", "check"):
                with self.subTest(command=command, option=option):
                    self.expect_bad_usage(command, house, *option)

    def test_bad_values_of_run_end_with_2(self):
        house = self.write("house.xml", PUCK)
        for option in (["--faults"], ["--faults", "some"], ["--faults", "HEAVY"],
                       ["--tell", "all"], ["--tell", ""]):
            with self.subTest(option=option):
                self.expect_bad_usage("run", house, *option)
        self.expect_bad_usage("stdio", house, "--faults", "heavy")

    def expect_words(self, words, *arguments):
        done = self.run_program(*arguments)
        self.assertEqual((2, ""), (done.returncode, done.stdout))
        self.assertIn(words, done.stderr)

    def test_bad_usage_is_told_in_plain_words(self):
        house = self.write("house.xml", PUCK)
        for words, arguments in (
                ('there is no command "rnu"; did you mean run?', ["rnu"]),
                ('there is no command "dance"\n', ["dance"]),
                ("there is no command; say stdio, run, serve, check, validate, replay, "
                 "shrink or why", []),
                ('there is no command "chekc"; did you mean check?', ["help", "chekc"]),
                ("run has no option --sed; did you mean --seed?", ["run", house, "--sed", "1"]),
                ("validate has no option --seed", ["validate", house, "--seed", "1"]),
                ('"more" is one word too many', ["stdio", house, "more"]),
                ('--tell: "loud" is none of quiet|normal|verbose', ["run", house, "--tell",
                                                                      "loud"]),
                ('"verbos" is none of quiet|normal|verbose; did you mean verbose?',
                 ["run", house, "--tell", "verbos"]),
                ('--seed: "abc" is no whole number from 0 to 18446744073709551615',
                 ["run", house, "--seed", "abc"]),
                ('--seed: "18446744073709551616" is no whole', ["stdio", house, "--seed",
                                                                "18446744073709551616"]),
                ('--for: "1h30" is no time like 90s, 1h30m or 30d', ["run", house, "--for",
                                                                       "1h30"]),
                ("--state: the FILE is empty", ["run", house, "--state", ""]),
                ("--record: the FILE is empty", ["stdio", house, "--record", ""]),
                ('--color: "red" is none of auto|always|never', ["check", house, "--color",
                                                                   "red"])):
            with self.subTest(arguments):
                self.expect_words(words, *arguments)

    def test_version_and_help_are_told(self):
        done = self.run_program("--version")
        self.assertEqual(0, done.returncode)
        self.assertRegex(done.stdout, r"^lighting-host \d+\.\d+\.\d+ \(host protocol 1"
                                      r"(, commit [0-9a-f]{12})?\)\n$")
        self.assertEqual(self.run_program("--help").stdout, self.run_program("help").stdout)
        self.assertEqual(self.run_program("run", "--help").stdout,
                         self.run_program("help", "run").stdout)
        with open("/dev/full", "wb") as full:
            self.assertEqual(2, subprocess.run([PROGRAM, "--help"], stdout=full, check=False,
                                               stderr=subprocess.DEVNULL).returncode)

    def test_length_of_a_run_may_have_several_units_or_none(self):
        house = self.write("house.xml", PUCK)
        for length in ("1h30m", "90", "1d2h", "1500ms"):
            self.assertEqual(0, self.run_program("run", house, "--virtual", "--for",
                                                 length).returncode, length)

    def test_seed_of_every_run_is_told(self):
        house = self.write("house.xml", PUCK)
        for options in (["--virtual"], ["--for", "5ms"]):
            told = self.run_program("run", house, *options).stdout
            self.assertRegex(told.splitlines()[-1], r"seed \d+$")
            self.assertTrue(self.run_program("run", house, "--seed", "7", *options)
                            .stdout.endswith("1 driver, faults: none, seed 7\n"))

    def test_colors_come_when_they_are_asked_for(self):
        house = self.write("house.xml", PUCK)
        for options, environment, colored in (([], {}, False), (["--color", "always"], {}, True),
                                              (["--color", "always"], {"NO_COLOR": "1"}, True),
                                              (["--color", "never"], {}, False)):
            done = subprocess.run([PROGRAM, "run", house, "--virtual", *options], check=False,
                                  capture_output=True, env={**os.environ, **environment})
            self.assertEqual(colored, b"\x1b[" in done.stdout, options)

    def test_run_repeats_with_its_seed_and_says_it(self):
        house = self.write("house.xml", PUCK.replace("</driver>", """<device simulated="true">
            <person/></device></driver>"""))
        arguments = ["run", house, "--virtual", "--for", "1h", "--faults", "heavy", "--seed"]
        first = self.run_program(*arguments, "5").stdout
        self.assertEqual(first, self.run_program(*arguments, "5").stdout)
        self.assertNotEqual(first, self.run_program(*arguments, "6").stdout)
        self.assertTrue(first.endswith("1 driver, faults: heavy, seed 5\n"), first[-200:])

    def test_help_ends_with_0_and_names_the_commands(self):
        done = self.run_program("--help")
        self.assertEqual(0, done.returncode)
        for command in ("stdio", "run", "check", "validate"):
            self.assertIn(command, done.stdout)
            own = self.run_program(command, "--help")
            self.assertEqual(0, own.returncode)
        for option in ("--seed", "--draw", "--start", "--state", "--log-level"):
            for command in ("stdio", "run", "check"):
                self.assertIn(option, self.run_program(command, "--help").stdout)


class Statuses(CommandLine):
    def test_stdio_ends_with_1_when_a_line_was_refused(self):
        self.assertEqual(0, self.stdio(PUCK, [PUSH])[1].returncode)
        self.assertEqual(1, self.stdio(PUCK, [PUSH, {"driver": "q"}, PUSH])[1].returncode)
        self.assertEqual(1, self.stdio("<house><attic/></house>", [])[1].returncode)

    def test_what_is_not_protocol_goes_to_standard_error(self):
        done = self.run_program("stdio", self.path("none.xml"))
        self.assertEqual("", done.stdout)
        self.assertIn("none.xml: cannot be read", done.stderr)

    def test_validate_ends_with_0_or_1(self):
        self.assertEqual(0, self.run_program("validate", self.write("a.xml", PUCK)).returncode)
        done = self.run_program("validate", self.write("b.xml", "<house>\n<attic/></house>"))
        self.assertEqual(1, done.returncode)
        self.assertIn("b.xml:2: ", done.stdout)

    def test_check_ends_with_0_1_or_2(self):
        self.write("house.xml", PUCK)
        head = '{"transcript":"t","house":"house.xml","show":["event"]}\n'
        push = json.dumps({"in": PUSH}) + "\n"
        good = self.write("good.jsonl", head + push + '{"out":{"event":6001}}\n')
        bad = self.write("bad.jsonl", head + push)
        self.assertEqual(0, self.run_program("check", good, good).returncode)
        done = self.run_program("check", good, bad)
        self.assertEqual(1, done.returncode)
        self.assertIn("1 passed, 1 failed", done.stdout)
        self.assertEqual(2, self.run_program("check", good, self.path("none.jsonl")).returncode)

    def test_library_that_cannot_be_loaded_ends_with_1(self):
        self.write("libmine.so", "no shared object")
        _, done = self.stdio('<house><driver name="a" type="mine" id="1" library="libmine.so"/>'
                             "</house>", [])
        self.assertEqual(1, done.returncode)
        self.assertIn("house.xml:1: cannot load the driver library", done.stderr)


class Options(CommandLine):
    def test_draw_low_and_high_give_the_ends(self):
        self.assertEqual([0, 20000, 40000], self.retry_times("--draw", "low")[:3])
        self.assertEqual([0, 40000, 80000], self.retry_times("--draw", "high")[:3])

    def test_the_same_seed_repeats_and_1_is_the_default(self):
        first = self.retry_times("--seed", "1")
        self.assertEqual(first, self.retry_times("--seed", "1"))
        self.assertEqual(first, self.retry_times())
        self.assertEqual(first, self.retry_times("--draw", "random"))
        self.assertGreater(len({tuple(self.retry_times("--seed", str(seed)))
                                for seed in range(1, 9)}), 4)
        self.assertTrue(20000 <= first[1] <= 40000)

    def test_start_says_when_the_day_ends(self):
        def minutes_today(*options):
            outputs, _ = self.stdio(LIGHT, [{"driver": "z", "set": {"load_on": True}},
                                            {"advance_ms": 60000}], "--draw", "low", *options)
            return [output["value"] for output in outputs
                    if output.get("variable") == 4569 and output["op"] == "set"]
        self.assertEqual(["1"], minutes_today())
        self.assertEqual(["1"], minutes_today("--start", "2026-01-01T00:00:00"))
        self.assertEqual(["0", "1"], minutes_today("--start", "2026-06-30T23:59:01"))

    def test_log_level_says_which_records_are_reported(self):
        def levels(*options):
            outputs, _ = self.stdio(PUCK, [NO_SUCH_BUTTON], *options)
            return [output["level"] for output in outputs if "log" in output]
        self.assertEqual(["WARN"], levels())
        for level in ("trace", "debug", "info", "warn"):
            self.assertEqual(["WARN"], levels("--log-level", level))
        for level in ("error", "off"):
            self.assertEqual([], levels("--log-level", level))

    def test_state_is_found_again(self):
        ask = {"driver": "p", "query": "contact", "index": 1}
        change = {"driver": "p", "command": "CONTACT_STATUS",
                  "params": {"CONTACT_NUMBER": 1, "AUX_BEHAVIOR": 5, "AUX_LEDS": 9}}
        state = ("--state", self.path("state"))

        def behavior(inputs, *options):
            outputs, done = self.stdio(PUCK, inputs, *options)
            self.assertEqual((0, ""), (done.returncode, done.stderr))
            return [output["value"]["behavior"] for output in outputs if "answer" in output]
        self.assertEqual([2, 5], behavior([ask, change, ask], *state))
        self.assertEqual([5], behavior([ask], *state))
        self.assertEqual([2], behavior([ask]))

    def test_energy_beyond_any_number_is_refused(self):
        def errors(number):
            text = '{"driver":"z","set":{"energy_wh":' + number + '}}\n'
            done = self.run_program("stdio", self.write("h.xml", LIGHT), text=text)
            outputs = [json.loads(line) for line in done.stdout.splitlines()]
            return [output["error"] for output in outputs if "error" in output]
        words = ['"energy_wh" is not within -2147483648 to 2147483647']
        for number in ("2147483648", "9223372036854775808", "18446744073709551616",
                       "-18446744073709551616", "123456789012345678901234567890"):
            self.assertEqual(words, errors(number), number)
        for number in ("2147483647", "1.5", "1e3", "1.8446744073709551616e19"):
            self.assertEqual([], errors(number), number)

    def test_recording_agrees_when_it_is_checked(self):
        record = self.path("recorded.jsonl")
        outputs, _ = self.stdio(PUCK, [PUSH, {"driver": "q"}, {"advance_ms": 5}, NO_SUCH_BUTTON],
                                "--record", record)
        self.assertIn("event", json.dumps(outputs))
        self.assertEqual(0, self.run_program("check", record).returncode)


class Waiting(CommandLine):
    def test_each_answer_comes_before_the_next_line_is_needed(self):
        with subprocess.Popen([PROGRAM, "stdio", self.write("house.xml", PUCK)],
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as process:
            self.addCleanup(process.kill)
            starts = [json.loads(process.stdout.readline()) for _ in range(4)]
            self.assertEqual([1014, 1015], [start["variable"] for start in starts[:2]])
            for number in range(1, 4):
                process.stdin.write(json.dumps({"house": "list"}) + "\n")
                process.stdin.flush()
                self.assertIn("house", json.loads(process.stdout.readline()))
                self.assertEqual({"done": number}, json.loads(process.stdout.readline()))
            process.stdin.close()
            self.assertEqual(4, len(process.stdout.readlines()))
            self.assertEqual(0, process.wait(timeout=60))


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
