#!/usr/bin/env python3
"""Workers that share houses over a real NATS, seen from outside.

    fleet_test.py PROGRAM SOAKED [unittest's own arguments]

SOAKED is a driver library with a defect that the house file names.
"""
import json
import os
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

SERVER = "/usr/sbin/nats-server"
TTL_S = 3
PROGRAM = ""
SOAKED = ""
SOAKED_HOUSE = """<house>
  <driver name="soaked" type="soaked" id="1" library="elsewhere.so">
    <config><DEFECT>{}</DEFECT></config>
  </driver>
</house>
"""
# Lives by itself: the button is clicked every second.
HOUSE = """<house>
  <driver name="lamp" type="zigbee_light" id="1"><device simulated="true" watts="10"/></driver>
  <driver name="button" type="puck" id="2">
    <device simulated="true"><act at="1s" every="1s" do="click" contact="0"/></device>
  </driver>
</house>
"""


def until(is_true, what, seconds=15):
    """Asks again and again; how long it took."""
    begin = time.monotonic()
    while not is_true():
        if time.monotonic() - begin > seconds:
            raise AssertionError("did not come: " + what)
        select_nothing(0.05)
    return time.monotonic() - begin


def select_nothing(seconds):
    """Lets the others work."""
    reader, writer = socket.socketpair()
    with reader, writer:
        reader.settimeout(seconds)
        try:
            reader.recv(1)
        except TimeoutError:
            pass


class Nats:
    """A server on a port that it picks, and a client of the plainest kind."""

    def __init__(self, folder):
        self.folder = folder
        self.process = subprocess.Popen(
            [SERVER, "-a", "127.0.0.1", "-p", "-1", "-js", "-sd", folder, "--ports_file_dir",
             folder, "-l", os.path.join(folder, "log")])
        until(self.port, "the port of NATS")
        self.url = f"nats://127.0.0.1:{self.port()}"

    def port(self):
        for name in os.listdir(self.folder):
            if name.endswith(".ports"):
                with open(os.path.join(self.folder, name), encoding="utf-8") as file:
                    found = re.search(r"nats://127\.0\.0\.1:(\d+)", file.read())
                    if found:
                        return int(found.group(1))
        return 0

    def publish(self, subject, line, token=None):
        """One message; it has reached the server when this returns."""
        head = f"NATS/1.0\r\nLease-Token: {token}\r\n\r\n" if token is not None else ""
        sizes = f"{len(head)} {len(head) + len(line)}" if head else str(len(line))
        text = (f"CONNECT {{\"verbose\":false,\"headers\":true}}\r\n{'H' if head else ''}PUB "
                f"{subject} {sizes}\r\n{head}{line}\r\nPING\r\n")
        with socket.create_connection(("127.0.0.1", self.port())) as client:
            client.sendall(text.encode())
            told = b""
            while b"PONG" not in told:
                told += client.recv(4096)

    def close(self):
        self.process.kill()
        self.process.wait()


class Fleet(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        data = os.path.join(self.folder, "nats")
        os.mkdir(data)
        self.nats = Nats(data)
        self.addCleanup(self.nats.close)
        self.house = os.path.join(self.folder, "house.xml")
        with open(self.house, "w", encoding="utf-8") as file:
            file.write(HOUSE)

    def fleet(self, action, *options):
        return subprocess.run([PROGRAM, "fleet", action, "--nats", self.nats.url, *options],
                              capture_output=True, text=True, check=False, timeout=60)

    def add(self, *ids):
        for house in ids:
            done = self.fleet("add", "--id", house, self.house)
            self.assertEqual((0, ""), (done.returncode, done.stderr))

    def start(self, action, *options):
        out = open(os.path.join(self.folder, f"{action}{len(os.listdir(self.folder))}"), "wb")
        process = subprocess.Popen([PROGRAM, "fleet", action, "--nats", self.nats.url, *options],
                                   stdout=out, stderr=subprocess.PIPE)
        process.path = out.name
        out.close()
        self.addCleanup(self.end, process)
        return process

    def worker(self, name, *options):
        return self.start("worker", "--name", name, *options)

    def edge(self, house):
        """An edge that lets lines through already."""
        edge = self.start("edge", "--id", house)
        edge.stderr.readline()
        return edge

    @staticmethod
    def end(process):
        if process.poll() is None:
            process.kill()
            process.wait()
        process.stderr.close()

    def listed(self):
        return {house["id"]: house
                for house in map(json.loads, self.fleet("list").stdout.splitlines())}

    def owners(self):
        return {house["owner"] for house in self.listed().values()}

    @staticmethod
    def lines(edge):
        with open(edge.path, encoding="utf-8") as file:
            return [json.loads(line) for line in file.read().splitlines(True)
                    if line.endswith("\n")]

    def tokens(self, edge):
        return [line["token"] for line in self.lines(edge)]

    def test_houses_are_added_once_listed_and_removed(self):
        self.add("one", "two")
        again = self.fleet("add", "--id", "one", self.house)
        self.assertEqual((1, "lighting-host: there is a house one already\n"),
                         (again.returncode, again.stderr))
        self.assertEqual('{"id":"one","owner":null}\n{"id":"two","owner":null}\n',
                         self.fleet("list").stdout)
        self.assertEqual(0, self.fleet("remove", "--id", "one").returncode)
        self.assertEqual(1, self.fleet("remove", "--id", "one").returncode)
        self.add("one")
        self.assertEqual(["one", "two"], sorted(self.listed()))

    def test_what_is_wrong_is_said(self):
        for options, words in ((("add", "--id", "Big", self.house), '"Big" is not 1 to 64'),
                               (("add", "--id", "one"), "say which house file"),
                               (("worker",), "--name NAME"),
                               (("list", "--id", "one"), "--id has no place here")):
            done = self.fleet(*options)
            self.assertEqual(2, done.returncode)
            self.assertIn(words, done.stderr)
        self.nats.close()
        self.assertIn("NATS cannot be reached", self.fleet("list").stderr)

    def test_worker_that_comes_gets_its_share_and_hands_it_over_when_it_leaves(self):
        self.add(*[f"house{number}" for number in range(8)])
        self.worker("a")
        until(lambda: self.owners() == {"a"}, "all with a")
        second = self.worker("b")
        until(lambda: self.owners() == {"a", "b"}, "some with b")
        second.terminate()
        self.assertEqual(0, second.wait(30))
        until(lambda: self.owners() == {"a"}, "all with a again", 3)

    def test_worker_has_room_for_so_many_and_no_more(self):
        self.add("one", "two", "three")
        self.worker("a", "--room", "2")
        until(lambda: len([house for house in self.listed().values() if house["owner"]]) == 2,
              "two with a")
        self.worker("b", "--room", "1")
        until(lambda: self.owners() == {"a", "b"}, "the third with b")

    def test_killed_worker_loses_its_house_within_its_lease_and_two_seconds(self):
        self.add("one")
        first = self.worker("a")
        until(lambda: self.owners() == {"a"}, "a")
        token = self.listed()["one"]["token"]
        first.kill()
        self.worker("b")
        self.assertLess(until(lambda: self.owners() == {"b"}, "b"), TTL_S + 2)
        self.assertGreater(self.listed()["one"]["token"], token)

    def test_owner_that_slept_is_not_heard_after_the_next_one(self):
        self.add("one")
        edge = self.edge("one")
        first = self.worker("a")
        until(lambda: self.tokens(edge), "a's lines")
        first.send_signal(signal.SIGSTOP)
        second = self.worker("b")
        until(lambda: len(set(self.tokens(edge))) == 2, "b's lines")
        first.send_signal(signal.SIGCONT)
        until(lambda: b"lease is lost" in first.stderr.readline(), "a stops")
        # A command that the first had decided on before it slept.
        self.nats.publish("houses.one.out", '{"late":true}', self.tokens(edge)[0])
        self.assertIn(b"dropped a line with token", edge.stderr.readline())
        self.assertEqual(sorted(self.tokens(edge)), self.tokens(edge))
        self.assertNotIn({"late": True}, [line["line"] for line in self.lines(edge)])
        self.assertIsNone(second.poll())

    def test_lines_go_in_and_answers_come_out(self):
        self.add("one")
        edge = self.edge("one")
        worker = self.worker("a")
        until(lambda: b"runs here" in worker.stderr.readline(), "the house")
        self.nats.publish("houses.one.in", '{"driver":"lamp","get":"state"}')
        self.nats.publish("houses.one.in", "no JSON")
        until(lambda: any("error" in line["line"] for line in self.lines(edge)), "an error")

    def test_house_that_is_removed_is_stopped(self):
        self.add("one")
        worker = self.worker("a")
        until(lambda: self.owners() == {"a"}, "a")
        self.fleet("remove", "--id", "one")
        until(lambda: b"was handed over" in worker.stderr.readline(), "the end of the house")
        self.assertEqual({}, self.listed())

    def test_second_worker_of_a_name_ends_and_says_so(self):
        self.add("one")
        self.worker("a")
        until(lambda: self.owners() == {"a"}, "a")
        second = self.worker("a")
        self.assertEqual(2, second.wait(20))
        self.assertIn(b"there is another worker called a", second.stderr.read())

    def soak(self, defect, *options):
        """The command that lets a driver with that defect live."""
        with open(self.house, "w", encoding="utf-8") as file:
            file.write(SOAKED_HOUSE.format(defect))
        return [PROGRAM, "fleet", "soak", "--nats", self.nats.url, self.house, "--library", SOAKED,
                "--type", "soaked", "--to", self.folder, *options]

    def run_soak(self, defect, *options):
        return subprocess.run(self.soak(defect, *options), capture_output=True, text=True,
                              check=False, timeout=120)

    def test_soak_in_which_nothing_goes_wrong_uses_every_worker(self):
        for name in "abc":
            self.assertIn(b" works, ", self.worker(name).stderr.readline())
        done = self.run_soak("", "--houses", "9", "--days", "1")
        self.assertEqual(0, done.returncode, done.stderr)
        self.assertRegex(done.stdout, r"^9 of 9 houses, 0 with something wrong; 0.02 years of a "
                                      r"house in \d+\.\d s on 3 workers: [1-9]\d*\.\d simulated "
                                      r"years an hour\n$")

    def test_soak_gives_a_record_of_each_house_in_which_something_went_wrong(self):
        self.worker("a")
        done = self.run_soak("crashes", "--houses", "2", "--days", "1", "--seed", "7")
        self.assertEqual(1, done.returncode, done.stderr)
        for number, seed in ((0, 7), (1, 19)):
            self.assertIn(f"house {number}, seed {seed}: driver \"soaked\" crashed in the command "
                          '"RECALL": abort', done.stdout)
            record = os.path.join(self.folder, f"soak-{seed}.jsonl")
            again = subprocess.run([PROGRAM, "replay", record], capture_output=True, text=True,
                                   check=False, timeout=60)
            self.assertEqual(-signal.SIGABRT, again.returncode, again.stderr)
        self.assertIn("2 of 2 houses, 2 with something wrong", done.stdout)

    def test_house_of_a_soak_whose_worker_is_killed_lives_at_another_one(self):
        first = self.worker("a")
        soak = subprocess.Popen(self.soak("", "--houses", "1", "--days", "3650"),
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(self.end_soak, soak)
        until(lambda: self.children(first), "a house at a")
        child = self.children(first)[0]
        first.kill()
        first.wait()
        until(lambda: not os.path.exists(f"/proc/{child}"), "the end of what a has begun")
        second = self.worker("b")
        until(lambda: self.children(second), "a house at b")
        soak.terminate()
        self.assertEqual(128 + signal.SIGTERM, soak.wait(10))
        until(lambda: not self.children(second), "the soak's end at b")

    @staticmethod
    def children(process):
        with open(f"/proc/{process.pid}/task/{process.pid}/children", encoding="ascii") as file:
            return file.read().split()

    @staticmethod
    def end_soak(soak):
        if soak.poll() is None:
            soak.kill()
            soak.wait()
        soak.stdout.close()
        soak.stderr.close()

    def test_library_that_a_worker_cannot_load_ends_the_soak(self):
        self.worker("a")
        done = subprocess.run([PROGRAM, "fleet", "soak", "--nats", self.nats.url, "--library",
                               self.house, "--type", "mine", "--houses", "1", "--to", self.folder],
                              capture_output=True, text=True, check=False, timeout=60)
        self.assertEqual(2, done.returncode)
        self.assertIn("house 0 cannot live at the worker a: ", done.stderr)


if __name__ == "__main__":
    if not os.path.exists(SERVER):
        print("skipped: there is no nats-server")
        sys.exit(77)
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    SOAKED = os.path.abspath(sys.argv.pop(1))
    unittest.main()
