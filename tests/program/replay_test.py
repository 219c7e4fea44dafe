#!/usr/bin/env python3
"""Flight records from outside: what replay, shrink and why say, and how they end.

    replay_test.py PROGRAM FOLDER_OF_DRIVER_LIBRARIES
"""
import json
import os
import resource
import signal
import subprocess
import sys
import tempfile
import unittest

import flight_record
from flight_record import given

SYMPTOM = 9000
HOUSE = '<house><driver name="hall" type="puck" id="1"/></house>\n'
LIVELY = """<house><driver name="hall" type="puck" id="1"><device simulated="true">
<person pause_min="1s" pause_max="3s"/></device></driver></house>
"""
PUSH = {"driver": "hall", "trap": "nx.dmx.bp", "params": ["00000007"]}


class Record(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = os.path.join(self.folder.name, "flight.jsonl")

    def write(self, lines, path=None):
        with open(path or self.path, "w", encoding="utf-8") as file:
            file.write(flight_record.text(lines))

    def run_program(self, *arguments, text=""):
        return subprocess.run([PROGRAM, *arguments], input=text, capture_output=True, text=True,
                              check=False, timeout=120)

    def expect(self, status, words, *arguments, text=""):
        done = self.run_program(*arguments, text=text)
        self.assertEqual(status, done.returncode, done.stdout + done.stderr)
        self.assertIn(words, done.stdout + done.stderr)
        return done


class Replay(Record):
    def presses(self, count=3):
        return [flight_record.head(HOUSE)] + [given(1000 * i, PUSH) for i in range(count)]

    def test_record_without_digests_is_told(self):
        self.write(self.presses())
        self.expect(0, "nothing to compare with", "replay", self.path)

    def test_until_a_time_and_beyond_the_end(self):
        self.write(self.presses())
        self.expect(0, "up to 00h00m01.500s", "replay", self.path, "--until", "1.5s")
        self.expect(1, "the record ends before that", "replay", self.path, "--until", "1h")

    def test_record_with_blanks_is_read_too(self):
        self.write(self.presses())
        outputs = self.run_program("replay", self.path, "--outputs").stdout
        with open(self.path, "w", encoding="utf-8") as file:
            file.writelines(json.dumps(line) + "\n" for line in self.presses())
        self.assertEqual(outputs, self.run_program("replay", self.path, "--outputs").stdout)
        self.assertIn('"event":6001', outputs)

    def test_record_of_the_first_version_is_the_same(self):
        record = os.path.join(os.path.dirname(os.path.abspath(__file__)), "records/version_1.jsonl")
        self.expect(0, "54 outputs, 24 inputs, 3 digests compared", "replay", record)
        with open(record, encoding="utf-8") as file:
            text = file.read()
        with open(self.path, "w", encoding="utf-8") as file:
            file.write(text.replace('"digest":"9', '"digest":"8'))
        self.expect(1, "differs in the minute up to 00h02m00.000s", "replay", self.path)

    def test_until_an_event(self):
        self.write(self.presses())
        done = self.run_program("replay", self.path, "--outputs")
        events = [json.loads(line) for line in done.stdout.splitlines() if '"event"' in line]
        self.expect(0, f"hall fires event {events[0]['event']} at 00h00m00.000s", "replay",
                    self.path, "--until-event", f"hall:{events[0]['event']}")
        self.expect(1, "it does not come", "replay", self.path, "--until-event", "hall:1")

    def test_until_conditions_that_are_none(self):
        self.write(self.presses())
        self.expect(2, 'there is no driver "hal" in the record\'s house; did you mean hall?',
                    "replay", self.path, "--until-event", "hal:1")
        self.expect(2, '"hall" is no driver and event', "replay", self.path, "--until-event",
                    "hall")
        self.expect(2, "none of event, log", "replay", self.path, "--until-break", "{}")

    def test_goes_on_by_hand(self):
        self.write(self.presses())
        other = dict(PUSH, params=["00000008"])
        lines = flight_record.text([{"advance_ms": 500}, other, {"driver": "nobody"}])
        done = self.expect(1, "there is no driver named", "replay", self.path, "--until", "1500ms",
                           "--stdio", text="# by hand\n" + lines)
        outputs = [json.loads(line) for line in done.stdout.splitlines()]
        self.assertEqual([2, 3, 4], [line["done"] for line in outputs if "done" in line])
        # What the record did before is not written.
        times = [line["t_ms"] for line in outputs if "event" in line]
        self.assertIn(2000, times)
        self.assertGreaterEqual(min(times), 1500)

    def test_damage_is_told_with_its_line(self):
        whole = self.presses()
        for number, spoil, words in (
                (1, lambda line: dict(line, flight_record=3), "line 1: version 3 of the format"),
                (1, lambda line: dict(line, house=line["house"] + " "), "does not agree with its"),
                (1, lambda line: dict(line, draw="often"), '"often" is none of random, low, high'),
                (1, lambda line: dict(line, faults="dire"), '"dire" is no level of faults'),
                (1, lambda line: dict(line, start="noon"), "noon"),
                (2, lambda line: 7, "line 2: "),
                (3, lambda line: dict(line, t_ms="soon"), "line 3: "),
                (4, lambda line: dict(line, t_ms=10), "line 4: the time goes back")):
            lines = list(whole)
            lines[number - 1] = spoil(lines[number - 1])
            self.write(lines)
            self.expect(2, words, "replay", self.path)

    def test_every_flipped_byte_is_refused_or_run(self):
        self.write(self.presses())
        with open(self.path, "rb") as file:
            whole = file.read()
        for place in range(0, len(whole), 23):
            spoilt = bytearray(whole)
            spoilt[place] ^= 0x11
            with open(self.path, "wb") as file:
                file.write(spoilt)
            self.assertIn(self.run_program("replay", self.path).returncode, (0, 2), place)

    def test_torn_last_line_is_read_past_with_a_word(self):
        self.write(self.presses())
        with open(self.path, "a", encoding="utf-8") as file:
            file.write('{"t_ms":9000,"fr')
        self.expect(0, "line 5: is not whole", "replay", self.path)

    def test_no_record_is_told(self):
        self.expect(2, "cannot be read", "replay", self.path)
        self.write([])
        self.expect(2, "this is no flight record", "replay", self.path)

    def test_library_that_is_gone_is_told(self):
        house = HOUSE.replace(' id=', ' library="gone.so" id=')
        self.write([flight_record.head(house, path="far/away/house.xml")])
        self.expect(2, 'there is no driver library "gone.so"', "replay", self.path)

    def test_bad_usage_is_told_in_plain_words(self):
        self.write(self.presses())
        for words, arguments in (
                ('replay has no option --util; did you mean --until?', ["replay", "--util", "1"]),
                ('"soon" is no time', ["replay", "--until", "soon"]),
                ('"hall" is no NAME=PATH', ["replay", "--library", "hall"]),
                ("there is no driver or type", ["replay", "--library", "nobody=x.so"]),
                ("say what to look for", ["shrink"]), ("say what to look for", ["why"]),
                ('"0" is no number from 1', ["why", "--draws", "0", "--until-fault"])):
            self.expect(2, words, *arguments, self.path)


class Lamps(Record):
    def house(self, library):
        return (f'<house><driver name="lamp" type="lamp" id="1" '
                f'library="{LIBRARIES}/{library}.so"/></house>\n')

    def moves(self, count=25):
        return [given(7000 * i, {"driver": "lamp", "command": "MOVE", "params": {}})
                for i in range(count)]

    def outputs(self, library, moves, seed=1):
        path = self.path + ".other"
        self.write([flight_record.head(self.house(library), seed=seed)] + moves, path)
        return self.run_program("replay", path, "--outputs").stdout.splitlines()

    def test_driver_changed_in_one_line_is_found_at_its_first_different_output(self):
        moves = self.moves()
        self.write([flight_record.head(self.house("Lamp"))] + moves)
        # A record of its own run: nothing is left out, since only the last move meets this.
        last = json.loads(self.outputs("Lamp", moves)[-1])
        when = json.dumps({"variable": 1, "is": last["value"]})
        recorded = self.path + ".small"
        self.expect(0, "1 of 1 drivers", "shrink", self.path, "--until-break", when)
        with open(recorded, encoding="utf-8") as file:
            lines = [json.loads(line) for line in file]
        left = [line for line in lines if "in" in line]
        seed = lines[0]["seed"]
        self.assertGreaterEqual(len(left), 10)
        before = self.outputs("Lamp", left, seed)
        after = self.outputs("LampChanged", left, seed)
        first = next(i for i, pair in enumerate(zip(before, after)) if pair[0] != pair[1])
        done = self.expect(1, f"at output {first + 1}\n", "replay", recorded, "--library",
                           f"lamp={LIBRARIES}/LampChanged.so")
        self.assertIn(f"  recorded  {before[first]}\n  here      {after[first]}\n", done.stdout)


class Doors(Record):
    """Where replay, shrink and why meet the world: each is asked the same."""
    def asked(self, path=None):
        path = path or self.path
        return (["replay", path], ["shrink", path, "--until-event", "hall:6001"],
                ["why", path, "--until-event", "hall:6001"])

    def presses(self, count=3):
        return [flight_record.head(HOUSE)] + [given(1000 * i, PUSH) for i in range(count)]

    def expect_of_all(self, words, path=None):
        for arguments in self.asked(path):
            with self.subTest(arguments[0]):
                self.expect(2, words, *arguments)

    def test_what_is_no_file_is_told(self):
        self.expect_of_all("cannot be read: No such file or directory")
        self.expect_of_all("cannot be read: Is a directory", self.folder.name)
        self.expect_of_all("cannot be read: Input/output error", "/proc/self/mem")

    def test_what_is_no_record_is_told(self):
        self.write([])
        self.expect_of_all("this is no flight record")
        self.expect_of_all("line 1: ", PROGRAM)
        for octets in (b"\n", b"\0\n", b"\xff\xfe\n", b"[" * 100000 + b"\n"):
            with open(self.path, "wb") as file:
                file.write(octets)
            self.expect_of_all("line 1: ")

    def test_half_a_first_line_is_no_record(self):
        self.write(self.presses())
        with open(self.path, "r+b") as file:
            file.truncate(100)
        self.expect_of_all("this is no flight record")

    def test_damage_in_the_middle_is_told_with_its_line(self):
        self.write(self.presses())
        with open(self.path, "rb") as file:
            lines = file.read().split(b"\n")
        lines[2] = lines[2][:20] + b"\0" + lines[2][21:]
        with open(self.path, "wb") as file:
            file.write(b"\n".join(lines))
        self.expect_of_all("line 3: ")

    def test_output_on_a_full_device_is_no_success(self):
        self.write(self.presses())
        event = ["--until-break", '{"event":null}']
        for number, arguments in enumerate((
                ["replay", self.path], ["replay", self.path, "--outputs"],
                ["shrink", self.path, *event], ["why", self.path, "--draws", "2", *event],
                ["why", self.path, "--draws", "2", "--json", *event])):
            if arguments[0] == "shrink":
                arguments += ["--to", f"{self.path}.{number}"]
            with self.subTest(arguments), open("/dev/full", "wb") as full:
                done = subprocess.run([PROGRAM, *arguments], stdout=full, stderr=subprocess.PIPE,
                                      text=True, check=False, timeout=120)
                self.assertEqual(2, done.returncode, done.stderr)
                self.assertIn("standard output: No space left on device", done.stderr)

    def test_reader_that_goes_away_ends_a_long_replay(self):
        self.write([flight_record.head(LIVELY, people=True), {"t_ms": 10 ** 12, "end": "SIGTERM"}])
        with subprocess.Popen([PROGRAM, "replay", self.path, "--outputs"], stderr=subprocess.PIPE,
                              stdout=subprocess.PIPE, text=True) as process:
            process.stdout.close()
            told = process.stderr.read()
            self.assertEqual(2, process.wait(timeout=120))
        self.assertIn("standard output: Broken pipe", told)
        self.assertNotIn("up to", told)

    def test_smaller_record_that_cannot_be_written_is_told_and_leaves_nothing(self):
        self.write(self.presses())
        event = ["--until-break", '{"event":null}']
        self.expect(2, "there is no such folder", "shrink", self.path, *event, "--to",
                    os.path.join(self.folder.name, "gone", "small"))
        self.expect(2, "gone/why.html: No such file or directory", "why", self.path, *event,
                    "--html", os.path.join(self.folder.name, "gone/why.html"))

        def no_large_files():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (100, 100))
        for arguments in (["shrink"], ["why", "--draws", "2", "--html", self.path + ".small"]):
            done = subprocess.run([PROGRAM, *arguments, self.path, *event], capture_output=True,
                                  text=True, check=False, timeout=120, preexec_fn=no_large_files)
            self.assertEqual(2, done.returncode, done.stderr)
            self.assertIn("File too large", done.stderr)
            self.assertFalse(os.path.exists(self.path + ".small"))

    def test_signal_ends_each_with_its_status(self):
        # So much house time that no machine has come to its end before the signal.
        endless = [flight_record.head(LIVELY, people=True), {"t_ms": 10 ** 12, "end": "SIGTERM"}]
        self.write(endless)
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number), subprocess.Popen(
                    [PROGRAM, "replay", self.path, "--outputs"], stdout=subprocess.PIPE,
                    stderr=subprocess.DEVNULL) as process:
                process.stdout.readline()
                process.send_signal(number)
                process.stdout.read()
                self.assertEqual(128 + number, process.wait(timeout=120))

    def test_signal_ends_shrink_and_why(self):
        # Thousands of tries; each of them is over in a moment.
        other = {"driver": "hall", "online": True}
        self.write([flight_record.head(HOUSE)] + [
            given(500 * i, PUSH if i % 7 == 3 else other) for i in range(3000)])
        last = ["--until-break", '{"event":null}']
        for arguments, left in ((["shrink"], True), (["why", "--draws", "100000"], False)):
            small = self.path + "." + arguments[0]
            to = ["--to" if left else "--html", small]
            with self.subTest(arguments), subprocess.Popen(
                    [PROGRAM, *arguments, self.path, *last, "--jobs", "1", *to],
                    stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True) as process:
                # It has begun: shrink says what it has found, why makes its page.
                if left:
                    process.stderr.readline()
                while not left and not os.path.exists(small):
                    self.assertIsNone(process.poll())
                process.send_signal(signal.SIGTERM)
                process.stderr.read()
                self.assertEqual(128 + signal.SIGTERM, process.wait(timeout=120))
            # What shrink has by then is a record that shows it.
            self.assertEqual(left, os.path.exists(small))
        self.expect(0, "fires event", "replay", self.path + ".shrink", *last)


class ShrinkAndWhy(Record):
    def test_symptom_that_does_not_come_is_told(self):
        self.write([flight_record.head(HOUSE), given(1000, PUSH)])
        for command in ("shrink", "why"):
            self.expect(1, "it does not come", command, self.path, "--until-fault")
        self.assertFalse(os.path.exists(self.path + ".small"))

    def test_record_is_never_overwritten(self):
        self.write([flight_record.head(HOUSE), given(1000, PUSH)])
        self.expect(2, "is there already", "shrink", self.path, "--until-event", "hall:6001",
                    "--to", self.path)

    def test_result_does_not_depend_on_how_many_run_at_once(self):
        other = {"driver": "hall", "online": True}
        self.write([flight_record.head(HOUSE)] + [
            given(500 * i, PUSH if i % 7 == 3 else other) for i in range(60)])
        small = []
        for jobs in ("1", "3"):
            path = self.path + jobs
            self.expect(0, "inputs", "shrink", self.path, "--until-break", '{"event":null}',
                        "--jobs", jobs, "--to", path)
            with open(path, encoding="utf-8") as file:
                small.append(file.read())
        self.assertEqual(small[0], small[1])

    def test_deterministic_symptom_names_the_last_input_that_it_takes(self):
        self.write([flight_record.head(HOUSE), given(1000, {"driver": "hall", "online": True}),
                    given(61000, PUSH), given(90000, {"driver": "hall", "online": True})])
        done = self.expect(0, "", "why", self.path, "--until-break", '{"event":null}', "--json",
                           "--draws", "4")
        why = json.loads(done.stdout)
        self.assertEqual("inputs", why["cause"])
        self.assertLess(why["avoidable_ms"], 61000)
        self.assertGreaterEqual(why["certain_ms"], 61000)


if __name__ == "__main__":
    PROGRAM, LIBRARIES = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1])
