#!/usr/bin/env python3
"""The program as a service: what it tells a service manager, and whether the unit is sound.

    service_test.py PROGRAM
"""
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
HOUSE = os.path.join(ROOT, "examples/hall/house.xml")
UNIT = os.path.join(ROOT, "packaging/lighting-host@.service")


class Notify(unittest.TestCase):
    """Plays the service manager's end of the socket."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        path = os.path.join(self.folder.name, "notify")
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.socket.close)
        self.socket.bind(path)
        self.socket.settimeout(20)
        self.env = dict(os.environ, NOTIFY_SOCKET=path)
        self.env.pop("WATCHDOG_USEC", None)

    def start(self, **more):
        process = subprocess.Popen([PROGRAM, "serve", HOUSE, "--listen", "127.0.0.1:0",
                                    "--tell", "quiet"], env=dict(self.env, **more),
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def hear(self):
        return self.socket.recv(4096).decode()

    def test_readiness_is_told_when_visitors_can_come_and_the_end_when_it_begins(self):
        process = self.start()
        ready = self.hear()
        self.assertRegex(ready, r"^READY=1\nSTATUS=live at port \d+$")
        port = int(re.search(r"port (\d+)", ready).group(1))
        socket.create_connection(("127.0.0.1", port), 10).close()
        process.send_signal(signal.SIGTERM)
        self.assertEqual("STOPPING=1", self.hear())
        self.assertEqual(0, process.wait(20))

    def test_house_gives_signs_of_life_at_half_the_interval_or_oftener(self):
        self.start(WATCHDOG_USEC="1000000")
        self.assertIn("READY=1", self.hear() + self.hear())
        begin = time.monotonic()
        signs = [self.hear() for _ in range(4)]
        self.assertEqual({"WATCHDOG=1"}, set(signs))
        # Four at most half a second apart, and time for a busy machine.
        self.assertLess(time.monotonic() - begin, 8)

    def test_house_that_hangs_gives_none(self):
        process = self.start(WATCHDOG_USEC="200000")
        while "WATCHDOG=1" not in self.hear():
            pass
        process.send_signal(signal.SIGSTOP)
        # What was sent before it stood still.
        self.socket.settimeout(1)
        with self.assertRaises(socket.timeout):
            for _ in range(100):
                self.hear()
        process.send_signal(signal.SIGCONT)
        self.socket.settimeout(20)
        self.assertEqual("WATCHDOG=1", self.hear())


class Unit(unittest.TestCase):
    def analyze(self, *arguments):
        if shutil.which("systemd-analyze") is None:
            self.skipTest("systemd-analyze is not installed")
        # The program is where the unit looks for it only once it is installed.
        with tempfile.TemporaryDirectory() as folder:
            unit = os.path.join(folder, "lighting-host@hall.service")
            with open(UNIT, encoding="utf-8") as text, open(unit, "w", encoding="utf-8") as out:
                out.write(text.read().replace("/usr/bin/lighting-host", PROGRAM))
            return subprocess.run(["systemd-analyze", *arguments, unit], capture_output=True,
                                  text=True, check=False, env=dict(os.environ, LC_ALL="C"))

    def test_unit_is_sound(self):
        done = self.analyze("verify", "--man=no", "--recursive-errors=no")
        self.assertEqual((0, ""), (done.returncode, done.stderr))

    def test_unit_is_hardened(self):
        done = self.analyze("security", "--offline=yes", "--threshold=20")
        self.assertEqual(0, done.returncode, done.stdout + done.stderr)
        self.assertRegex(done.stdout, r"Overall exposure level.*OK")

    def test_unit_starts_the_program_with_options_that_it_has(self):
        with open(UNIT, encoding="utf-8") as text:
            start = re.search(r"^ExecStart=(.*)$", text.read(), re.MULTILINE).group(1).split()
        self.assertEqual(["/usr/bin/lighting-host", "serve"], start[:2])
        told = subprocess.run([PROGRAM, "help", "serve"], capture_output=True, text=True,
                              check=True).stdout
        for option in start:
            if option.startswith("--"):
                self.assertIn(option + " ", told)


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
