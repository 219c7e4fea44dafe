#!/usr/bin/env python3
"""The program where the world comes in and goes out: readers that wait, go away or never read, full
devices, signals, files that are named twice.

    doors_test.py PROGRAM
"""
import json
import os
import resource
import select
import signal
import subprocess
import sys
import tempfile
import time
import unittest

PUCK = """<house><driver name="p" type="puck" id="1">
<capability name="load_present">true</capability></driver></house>"""
LIVELY = """<house><driver name="p" type="puck" id="1"><device simulated="true">
<act at="200ms" do="press" contact="0"/></device></driver></house>"""
ASK = json.dumps({"driver": "p", "query": "contact", "index": 1}) + "\n"
CHANGE = json.dumps({"driver": "p", "command": "CONTACT_STATUS",
                     "params": {"CONTACT_NUMBER": 1, "AUX_BEHAVIOR": 5, "AUX_LEDS": 9}}) + "\n"
PUSH = json.dumps({"driver": "p", "trap": "nx.dmx.bp", "params": ["7"]}) + "\n"
KEYPAD = '<house><driver name="k" type="gen3_keypad" id="7"/></house>'
LONGEST_WAIT = 60


class Door(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.house = self.write("house.xml", PUCK)
        self.state = self.path("state")

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def write(self, name, text):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)
        return self.path(name)

    def read(self, name):
        with open(self.path(name), encoding="utf-8") as file:
            return file.read()

    def run_program(self, *arguments, text="", **others):
        return subprocess.run([PROGRAM, *arguments], input=text, text=True, check=False,
                              timeout=LONGEST_WAIT,
                              **{"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **others})

    def start(self, *arguments, **others):
        process = subprocess.Popen([PROGRAM, *arguments],
                                   **{"stdin": subprocess.PIPE, "stdout": subprocess.PIPE,
                                      "stderr": subprocess.PIPE, **others})
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        process.kill()
        process.wait()
        for pipe in (process.stdin, process.stdout, process.stderr):
            if pipe:
                try:
                    pipe.close()
                except BrokenPipeError:
                    pass

    def read_until(self, process, wanted):
        """What comes, up to these words."""
        text = b""
        deadline = time.monotonic() + LONGEST_WAIT
        while wanted not in text:
            left = deadline - time.monotonic()
            ready = select.select([process.stdout], [], [], max(left, 0))[0]
            self.assertTrue(ready, f"{wanted} does not come after {text}")
            piece = os.read(process.stdout.fileno(), 65536)
            self.assertTrue(piece, f"{wanted} does not come after {text}")
            text += piece
        return text

    def behavior_kept(self):
        """The setting of contact 1 that the next program finds in the state file."""
        done = self.run_program("stdio", self.house, "--state", self.state, text=ASK)
        answers = [json.loads(line) for line in done.stdout.splitlines()]
        return [answer["value"]["behavior"] for answer in answers if "answer" in answer]


class Waiting(Door):
    def test_done_comes_whatever_came_with_the_input(self):
        for rest in ("\n", "# a comment\n", '{"driver":"p"', "\n\n#\n{", "", "\r\n"):
            with self.subTest(rest=rest):
                process = self.start("stdio", self.house)
                process.stdin.write((ASK + rest).encode())
                process.stdin.flush()
                self.read_until(process, b'{"done":1}\n')

    def test_a_run_tells_what_happens_when_it_happens(self):
        for target in ("pipe", "file"):
            with self.subTest(target=target), open(self.path("out"), "wb") as file:
                process = self.start("run", self.write("lively.xml", LIVELY),
                                     stdout=subprocess.PIPE if target == "pipe" else file)
                if target == "pipe":
                    self.read_until(process, b"pushes contact 0")
                    continue
                deadline = time.monotonic() + LONGEST_WAIT
                while "pushes contact 0" not in self.read("out"):
                    self.assertLess(time.monotonic(), deadline)
                    select.select([], [], [], 0.02)
                self.assertIsNone(process.poll())

    def test_a_run_in_real_time_shows_its_progress_on_a_terminal(self):
        master, slave = os.openpty()
        self.addCleanup(os.close, master)
        process = self.start("run", self.house, stderr=slave)
        os.close(slave)
        shown = b""
        # Two times of the wall, one after the other.
        while shown.count(b"\r\x1b[K") < 2:
            self.assertTrue(select.select([master], [], [], LONGEST_WAIT)[0])
            shown += os.read(master, 4096)
        self.assertRegex(shown.decode(), r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d")
        self.assertIsNone(process.poll())


class Ends(Door):
    SIGNALS = (signal.SIGTERM, signal.SIGINT, signal.SIGHUP)

    def test_a_signal_ends_stdio_and_nothing_is_lost(self):
        for number in self.SIGNALS:
            with self.subTest(number):
                self.state = self.path(f"state{number}")
                process = self.start("stdio", self.house, "--state", self.state)
                process.stdin.write(CHANGE.encode() + b'{"half')
                process.stdin.flush()
                self.read_until(process, b'{"done":1}\n')
                process.send_signal(number)
                rest, complaints = process.communicate(timeout=LONGEST_WAIT)
                self.assertEqual(128 + number, process.returncode, complaints)
                self.assertNotIn(b"error", rest)
                self.assertEqual([5], self.behavior_kept())

    def test_a_signal_ends_a_run_and_its_state_is_saved(self):
        for number in self.SIGNALS:
            with self.subTest(number):
                house = self.write("lively.xml", LIVELY)
                state = self.path(f"state{number}")
                process = self.start("run", house, "--state", state)
                self.read_until(process, b"pushes contact 0")
                process.send_signal(number)
                rest, _ = process.communicate(timeout=LONGEST_WAIT)
                self.assertEqual(0, process.returncode)
                self.assertIn(b"driver", rest)
                self.assertFalse(os.path.exists(state + "-wal"))

    def test_a_signal_cuts_a_run_in_virtual_time_short(self):
        house = self.write("lively.xml", LIVELY)
        process = self.start("run", house, "--virtual", "--for", "36500d")
        self.read_until(process, b"pushes contact 0")
        process.send_signal(signal.SIGTERM)
        rest, _ = process.communicate(timeout=LONGEST_WAIT)
        self.assertEqual(128 + signal.SIGTERM, process.returncode)
        self.assertIn(b"driver", rest)

    def test_a_signal_that_was_ignored_stays_ignored(self):
        process = self.start("stdio", self.house,
                             preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        process.stdin.write(ASK.encode())
        process.stdin.flush()
        self.read_until(process, b'{"done":1}\n')
        process.send_signal(signal.SIGHUP)
        process.communicate(ASK.encode(), timeout=LONGEST_WAIT)
        self.assertEqual(0, process.returncode)

    def test_a_reader_that_goes_away_ends_stdio_and_the_state_is_saved(self):
        process = self.start("stdio", self.house, "--state", self.state)
        process.stdin.write(CHANGE.encode())
        process.stdin.flush()
        self.read_until(process, b'{"done":1}\n')
        process.stdout.close()
        process.stdout = None
        process.stdin.write(ASK.encode())
        process.stdin.flush()
        self.assertEqual(2, process.wait(timeout=LONGEST_WAIT))
        self.assertIn(b"standard output: Broken pipe", process.stderr.read())
        self.assertEqual([5], self.behavior_kept())

    def test_a_reader_that_goes_away_ends_a_run(self):
        for options in ([], ["--virtual", "--for", "36500d", "--tell", "verbose"]):
            with self.subTest(options):
                acts = "".join(f'<act at="{i * 50}ms" do="{"press" if i % 2 else "release"}" contact="0"/>'
                               for i in range(1, 2000))
                house = self.write("busy.xml", LIVELY.replace("<device simulated=\"true\">",
                                                              "<device simulated=\"true\">" + acts))
                process = self.start("run", house, "--state", self.state, *options)
                self.read_until(process, b"pushes contact 0")
                process.stdout.close()
                process.stdout = None
                self.assertEqual(2, process.wait(timeout=LONGEST_WAIT))
                self.assertIn(b"standard output: Broken pipe", process.stderr.read())
                self.assertFalse(os.path.exists(self.state + "-wal"))

    def test_a_reader_that_never_reads_does_not_hold_up_the_end(self):
        process = self.start("stdio", self.house, "--state", self.state)
        os.set_blocking(process.stdin.fileno(), False)
        process.stdin.write(CHANGE.encode())
        process.stdin.flush()
        flood = ASK.encode() * 200
        # Until the program's output, and with it its input, is full.
        while select.select([], [process.stdin], [], 0.5)[1]:
            try:
                os.write(process.stdin.fileno(), flood)
            except BlockingIOError:
                break
        process.send_signal(signal.SIGTERM)
        self.assertEqual(2, process.wait(timeout=LONGEST_WAIT))
        self.assertIn(b"standard output: nobody reads it", process.stderr.read())
        self.assertEqual([5], self.behavior_kept())


class Failures(Door):
    def expect_failure(self, done, words):
        self.assertEqual(2, done.returncode, done.stderr)
        self.assertIn(words, done.stderr)

    def test_output_on_a_full_device_is_no_success(self):
        self.write("t.jsonl", '{"transcript":"t","house":"house.xml"}\n')
        house = self.house
        for arguments in (["stdio", house], ["run", house, "--virtual"], ["run", house, "--for",
                          "10ms"], ["check", self.path("t.jsonl")], ["validate", house]):
            with self.subTest(arguments), open("/dev/full", "wb") as full:
                self.expect_failure(self.run_program(*arguments, text=ASK, stdout=full),
                                    "standard output: No space left on device")

    def test_output_that_is_closed_is_no_success(self):
        done = self.run_program("stdio", self.house, text=ASK, preexec_fn=lambda: os.close(1))
        self.expect_failure(done, "standard output: Bad file descriptor")

    def test_input_that_cannot_be_read_is_no_end(self):
        folder = os.open(self.folder.name, os.O_RDONLY)
        self.addCleanup(os.close, folder)
        done = subprocess.run([PROGRAM, "stdio", self.house], stdin=folder, capture_output=True,
                              text=True, check=False, timeout=LONGEST_WAIT)
        self.expect_failure(done, "standard input cannot be read: Is a directory")

    def test_a_recording_that_cannot_be_written_is_no_success(self):
        done = self.run_program("stdio", self.house, "--record", "/dev/full", text=ASK)
        self.expect_failure(done, "/dev/full: could not be written to its end: No space left")

    def test_a_last_save_that_fails_is_no_success(self):
        def no_large_files():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (40960, 40960))
        flood = "".join(json.dumps({"driver": "k", "command": "NEW_KEYPAD_BUTTON",
                                    "params": {"BUTTON_ID": i, "SLOTS": "1",
                                               "NAME": "x" * 2000}}) + "\n" for i in range(60))
        house = self.write("keypad.xml", KEYPAD)
        done = self.run_program("stdio", house, "--state", self.path("other"), text=flood,
                                preexec_fn=no_large_files)
        self.expect_failure(done, "lighting-host: ")

    def test_a_line_beyond_memory_is_refused_and_the_rest_goes_on(self):
        with open(PROGRAM, "rb") as program:
            if b"__asan_init" in program.read():
                self.skipTest("the sanitizer takes more memory than there is here")

        def little_memory():
            resource.setrlimit(resource.RLIMIT_AS, (400 << 20, 400 << 20))
        line = "x" * (80 << 20)
        done = self.run_program("stdio", self.house, text=line + "\n" + ASK,
                                preexec_fn=little_memory)
        self.assertEqual(1, done.returncode, done.stderr)
        answers = [json.loads(text) for text in done.stdout.splitlines()]
        self.assertIn({"error": "the line is too long", "line": 1}, answers)
        self.assertEqual([{"done": 1}, {"done": 2}], [a for a in answers if "done" in a])

    def test_a_transcript_with_a_line_beyond_memory_does_not_agree(self):
        path = self.write("t.jsonl", '{"transcript":"t","house":"house.xml"}\n' + "x" * (80 << 20))
        self.expect_failure(self.run_program("check", path), "t.jsonl: line 2: is too long")


class Recordings(Door):
    def record(self, name, *options, text=PUSH, **others):
        return self.run_program("stdio", self.house, "--record", self.path(name), *options,
                                text=text, **others)

    def expect_refused(self, name, words, *options, kept=None, **others):
        before = self.read(name) if kept is None else kept
        done = self.record(name, *options, **others)
        self.assertEqual(2, done.returncode, done.stderr)
        self.assertIn(words, done.stderr)
        self.assertEqual("", done.stdout)
        self.assertEqual(before, self.read(name))

    def test_the_house_file_is_not_overwritten_under_any_name(self):
        os.symlink(self.house, self.path("soft"))
        os.link(self.house, self.path("hard"))
        for name in ("house.xml", "soft", "hard"):
            with self.subTest(name):
                self.expect_refused(name, "is the house file")

    def test_the_state_file_is_not_overwritten(self):
        self.run_program("stdio", self.house, "--state", self.state, text=CHANGE)
        os.symlink(self.state, self.path("soft"))
        for name in ("state", "soft"):
            done = self.record(name, "--state", self.state)
            self.assertEqual(2, done.returncode)
            self.assertIn("is the state file", done.stderr)
        self.assertEqual([5], self.behavior_kept())

    def test_a_state_file_that_is_yet_to_be_made_is_no_recording(self):
        done = self.record("state", "--state", self.state)
        self.assertEqual(2, done.returncode)
        self.assertIn("is the state file", done.stderr)

    def test_the_input_and_output_are_not_overwritten(self):
        self.write("in.jsonl", PUSH)
        with open(self.path("in.jsonl"), encoding="utf-8") as file:
            done = subprocess.run([PROGRAM, "stdio", self.house, "--record", file.name], stdin=file,
                                  capture_output=True, text=True, check=False)
        self.assertEqual((2, PUSH), (done.returncode, self.read("in.jsonl")))
        with open(self.path("out"), "w", encoding="utf-8") as file:
            self.assertEqual(2, self.record("out", stdout=file).returncode)

    def test_only_a_recording_is_overwritten(self):
        self.write("notes", "my own\n")
        self.expect_refused("notes", "is there already and is no recording")
        self.write("empty", "")
        for name in ("new", "new", "empty"):
            self.assertEqual(0, self.record(name).returncode)
            self.assertEqual(0, self.run_program("check", self.path(name)).returncode)

    def test_a_recording_agrees_without_its_options_being_repeated(self):
        self.house = self.write("house.xml", KEYPAD + "\n")
        text = "".join(json.dumps(line) + "\n" for line in (
            {"driver": "k", "set": {"gateway_online": True, "device_online": True}},
            {"driver": "k", "bus": {"queue": {"opcode": 8192, "payload": "f0"}}},
            {"advance_ms": 200000}))
        for options in (["--seed", "18446744073709551615"], ["--draw", "high"],
                        ["--seed", "3", "--start", "2026-03-29T01:59:00", "--zone",
                         "Europe/Berlin"]):
            with self.subTest(options):
                self.assertEqual(0, self.record("t", *options, text=text).returncode)
                done = self.run_program("check", self.path("t"))
                self.assertEqual(0, done.returncode, done.stdout + done.stderr)

    def test_options_given_to_check_go_before_those_of_the_recording(self):
        self.house = self.write("house.xml", KEYPAD + "\n")
        text = "".join(json.dumps(line) + "\n" for line in (
            {"driver": "k", "set": {"gateway_online": True, "device_online": True}},
            {"driver": "k", "bus": {"queue": {"opcode": 8192, "payload": "f0"}}},
            {"advance_ms": 200000}))
        self.record("t", "--seed", "9", "--draw", "high", text=text)
        self.assertEqual(0, self.run_program("check", self.path("t"), "--seed", "9").returncode)
        self.assertEqual(1, self.run_program("check", self.path("t"), "--draw", "low").returncode)


class StateFiles(Door):
    def test_files_beside_the_state_file_stay(self):
        for name in ("state.new", "state.new-wal", "state.tmp"):
            self.write(name, "my own")
        self.run_program("stdio", self.house, "--state", self.state, text=CHANGE)
        for name in ("state.new", "state.new-wal", "state.tmp"):
            self.assertEqual("my own", self.read(name))
        self.assertEqual({"house.xml", "state", "state.new", "state.new-wal", "state.tmp"},
                         set(os.listdir(self.folder.name)))


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
