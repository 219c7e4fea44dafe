#!/usr/bin/env python3
"""A live house from outside: what it serves, to whom, and how it ends.

    live_test.py PROGRAM
"""
import json
import os
import resource
import signal
import socket
import subprocess
import sys
import tempfile
import unittest

from live_house import Closed, LiveHouse, WebSocket, frame

HOUSE = """<house><driver name="hall" type="puck" id="1" room="Hall">
<config><NUM_BUTTONS>2</NUM_BUTTONS></config><device simulated="true"/></driver>
<driver name="sofa" type="zigbee_light" id="2"><device simulated="true" watts="9"/></driver>
<driver name="oak" type="wired_dimmer" id="3"><device simulated="true" watts="40"/></driver>
<driver name="wall" type="gen3_keypad" id="4"><device simulated="true"/></driver>
</house>"""
TOKEN = "0123456789abcdef0123"


class Live(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.house = self.write("house.xml", HOUSE)

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def write(self, name, text, mode=0o644):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(self.path(name), mode)
        return self.path(name)

    def serve(self, *options, **others):
        live = LiveHouse(PROGRAM, self.house, *options, **others)
        self.addCleanup(live.end)
        return live

    def refused(self, *options):
        """Starts a serve that cannot be; gives its status and what it told."""
        ended = subprocess.run([PROGRAM, "serve", self.house, *options], capture_output=True,
                               text=True, timeout=60, check=False)
        return ended.returncode, ended.stderr

    def visit(self, live, path="/protocol", headers=()):
        visitor = live.visit(path, headers)
        self.addCleanup(visitor.close)
        return visitor


class Pages(Live):
    def test_the_page_comes_with_a_strict_policy(self):
        status, headers, body = self.serve().request("GET", "/")
        self.assertEqual(200, status)
        self.assertEqual("default-src 'self'; base-uri 'none'; form-action 'self'; "
                         "frame-ancestors 'none'", headers["Content-Security-Policy"])
        self.assertIn("<html", body)

    def test_how_a_house_file_is_written_is_told(self):
        status, headers, body = self.serve("--speed", "pause").request("GET", "/house_file.txt")
        self.assertEqual((200, "text/plain; charset=utf-8"), (status, headers["Content-Type"]))
        self.assertTrue(body.startswith("## The house file\n"))
        self.assertIn("### Load groups", body)
        self.assertNotIn("\n## ", body)

    def test_health_metrics_and_what_is_not_there(self):
        live = self.serve("--speed", "pause")
        self.assertEqual((200, "ok\n"), live.request("GET", "/healthz")[::2])
        self.assertEqual(404, live.request("GET", "/nothing")[0])
        status, headers, body = live.request("GET", "/metrics")
        self.assertEqual(200, status)
        self.assertTrue(headers["Content-Type"].startswith("text/plain; version=0.0.4"))
        for name in ("lighting_outputs_total", "lighting_inputs_total", "lighting_visitors"):
            self.assertRegex(body, f"(?m)^{name}")

    def test_snapshot_has_every_driver_with_what_its_device_holds(self):
        snapshot = self.serve("--speed", "pause").snapshot()
        drivers = {driver["name"]: driver for driver in snapshot["drivers"]}
        self.assertEqual(["hall", "sofa", "oak", "wall"], list(drivers))
        self.assertEqual("Hall", drivers["hall"]["room"])
        self.assertEqual({"groups", "scenes", "group_capacity", "scene_capacity"},
                         set(drivers["sofa"]["holds"]))
        self.assertEqual(40, drivers["oak"]["lamp_watts"])
        self.assertIn("messages", drivers["wall"]["queue"])

    def test_input_by_http_gives_what_it_caused_then_done(self):
        live = self.serve("--speed", "pause")
        status, _, body = live.request("POST", "/api/input",
                                       '{"driver":"hall","trap":"nx.dmx.bp","params":["7"]}')
        lines = [json.loads(line) for line in body.splitlines()]
        self.assertEqual(200, status)
        self.assertTrue(any("event" in line for line in lines))
        self.assertEqual({"done": 1}, lines[-1])
        self.assertEqual(400, live.request("POST", "/api/input", "nonsense")[0])


class Visitors(Live):
    def test_outputs_are_numbered_for_all_and_answers_are_not(self):
        live = self.serve("--speed", "pause")
        one, other = self.visit(live), self.visit(live)
        self.assertEqual(1, one.line()["hello"])
        other.line()
        answers = one.ask({"driver": "hall", "query": "contact", "index": 0})
        self.assertNotIn("seq", answers[-1])
        outputs = one.ask({"driver": "hall", "trap": "nx.dmx.bp", "params": ["7"]})
        heard = other.until(lambda line: line.get("event") is not None)
        self.assertIn(heard, outputs)

    def test_missed_lines_come_by_number_or_are_gone(self):
        visitor = self.visit(self.serve("--speed", "pause"))
        last = visitor.line()["seq"]
        lines = visitor.ask({"since": 0})
        self.assertEqual(last, lines[-1]["seq"])
        self.assertEqual(last + 5, visitor.ask({"since": last + 5})[0]["gone"])
        self.assertIn("gone", visitor.ask({"since": last, "branch": 9})[0])

    def test_who_hears_one_kind_hears_no_other(self):
        visitor = self.visit(self.serve("--speed", "pause"))
        visitor.line()
        visitor.ask({"hear": {"kinds": ["event"], "drivers": ["hall"]}})
        lines = visitor.ask({"driver": "hall", "trap": "nx.dmx.bp", "params": ["7"]})
        self.assertTrue(lines)
        self.assertTrue(all("event" in line for line in lines))

    def test_watching_visitor_is_refused_and_hears(self):
        live = self.serve("--speed", "pause")
        watcher, desk = self.visit(live, "/protocol?watch"), self.visit(live)
        self.assertTrue(watcher.line()["watching"])
        self.assertIn("error", watcher.ask({"house": "play"})[0])
        desk.ask({"driver": "hall", "trap": "nx.dmx.bp", "params": ["7"]})
        watcher.until(lambda line: "event" in line)

    def test_wrong_line_is_an_error_for_that_visitor(self):
        visitor = self.visit(self.serve("--speed", "pause"))
        visitor.line()
        for wrong in ("nonsense", '{"house":"fly"}', '{"house":"speed","value":0}',
                      '{"house":"act","driver":"hall","do":"press","button":9}', "[1]", '"text"',
                      '{"house":"power","driver":"nobody","on":true}', '{"since":"a"}'):
            self.assertIn("error", visitor.ask(wrong)[0], wrong)

    def test_message_of_several_lines_is_refused_and_leaves_the_record_whole(self):
        record = os.path.join(self.folder.name, "flight.jsonl")
        live = self.serve("--speed", "pause", "--record", record)
        visitor = self.visit(live)
        visitor.line()
        for wrong in ('{"driver":"hall",\n"online":true}', '{"driver":"hall",\r"online":true}'):
            self.assertIn("one line", visitor.ask(wrong)[0]["error"])
        self.assertFalse(any("error" in line for line in
                             visitor.ask('{"driver":"hall","online":true}\r\n')))
        live.end()
        done = subprocess.run([PROGRAM, "replay", record], capture_output=True, text=True,
                              check=False, timeout=60)
        self.assertIn("the same", done.stdout, done.stderr)

    def test_who_sends_octets_is_closed(self):
        visitor = self.visit(self.serve("--speed", "pause"))
        visitor.line()
        visitor.send("octets", 2)
        with self.assertRaises(Closed):
            visitor.until(lambda line: False)


class Controls(Live):
    def setUp(self):
        super().setUp()
        self.live = self.serve("--speed", "pause", "--seed", "1")
        self.visitor = self.visit(self.live, "/protocol?name=desk")
        self.visitor.line()

    def drivers(self):
        return {driver["name"]: driver for driver in self.live.snapshot()["drivers"]}

    def test_steps_move_the_clock_and_leave_it_paused(self):
        self.visitor.ask({"house": "step", "ms": 1500})
        clock = self.live.snapshot()["clock"]
        self.assertEqual((1500, True), (clock["t_ms"], clock["paused"]))
        self.visitor.ask({"house": "step"})
        self.assertEqual(clock["next_ms"], self.live.snapshot()["clock"]["t_ms"])

    def test_held_button_fires_what_a_finger_would(self):
        lines = self.visitor.ask({"house": "act", "driver": "hall", "do": "press", "contact": 0})
        self.assertIn(6001, [line.get("event") for line in lines])
        self.visitor.ask({"house": "step", "ms": 1200})
        self.assertTrue(self.drivers()["hall"]["contacts"][0]["pressed"])
        self.visitor.close()
        other = self.visit(self.live)
        other.ask({"house": "step", "ms": 1000})
        self.assertFalse(self.drivers()["hall"]["contacts"][0]["pressed"])

    def test_cause_of_an_act_is_its_visitor(self):
        self.visitor.ask({"hear": {"page": True}})
        lines = self.visitor.ask({"house": "act", "driver": "hall", "do": "click", "button": 0})
        causes = [line for line in lines if line.get("cause") == "visitor"]
        self.assertEqual(["desk"], [cause["visitor"] for cause in causes])

    def test_level_goes_to_the_lamp(self):
        self.visitor.ask({"house": "level", "driver": "oak", "level": 40, "time_ms": 1000})
        self.visitor.ask({"house": "step", "ms": 500})
        half = self.drivers()["oak"]
        self.assertEqual((20, 40), (half["level"], half["ramp"]["to"]))
        self.visitor.ask({"house": "step", "ms": 600})
        self.assertEqual((40, None), (self.drivers()["oak"]["level"], self.drivers()["oak"]["ramp"]))

    def test_without_power_a_device_is_offline_until_it_has_it_again(self):
        self.visitor.ask({"house": "step", "ms": 1000})
        self.visitor.ask({"house": "power", "driver": "sofa", "on": False})
        sofa = self.drivers()["sofa"]
        self.assertEqual((False, False, 1000), (sofa["faults"]["power"], sofa["online"]["on"],
                                                sofa["faults"]["power_ms"]))
        self.visitor.ask({"house": "power", "driver": "sofa", "on": True})
        self.assertTrue(self.drivers()["sofa"]["online"]["on"])

    def test_faults_are_switched_and_stay_until_switched_again(self):
        self.visitor.ask({"house": "fault", "driver": "sofa", "deaf": True, "loss_percent": 10})
        self.visitor.ask({"house": "fault", "driver": "sofa", "forgets": True})
        faults = self.drivers()["sofa"]["faults"]
        self.assertEqual((True, True, 10), (faults["deaf"], faults["forgets"],
                                            faults["loss_percent"]))
        self.visitor.ask({"house": "fault", "repeats": True})
        self.assertTrue(self.live.snapshot()["faults"]["repeats"])
        self.assertFalse(self.drivers()["sofa"]["faults"]["repeats"])

    def test_break_pauses_right_after_the_output_that_meets_it(self):
        self.visitor.ask({"hear": {"page": True}})
        self.visitor.ask({"house": "break", "when": {"event": None, "driver": "hall"}})
        self.visitor.send({"house": "act", "driver": "hall", "do": "click", "contact": 0})
        met = self.visitor.until(lambda line: line.get("page") == "break")
        self.assertEqual(1, met["id"])
        kept = self.live.snapshot()["breaks"][0]
        self.assertEqual(met["met_seq"], kept["met_seq"])


class Past(Live):
    def setUp(self):
        super().setUp()
        self.live = self.serve("--speed", "pause", "--seed", "1", "--state", self.path("state"),
                               "--record", self.path("record"))
        self.visitor = self.visit(self.live)
        self.visitor.line()

    def press(self):
        self.visitor.ask({"driver": "hall", "trap": "nx.dmx.bp", "params": ["7"]})
        self.visitor.ask({"house": "step", "ms": 60000})

    def rewind(self, ms):
        self.visitor.ask({"house": "rewind", "t_ms": ms})
        return self.visitor.until(lambda line: "moved" in line)["moved"]

    def test_rewind_and_now_come_back_to_the_same_lines(self):
        self.press()
        self.press()
        before = self.visitor.ask({"since": 0})
        self.assertEqual(60000, self.rewind(60000)["t_ms"])
        past = self.live.snapshot()["past"]
        self.assertEqual(120000, past["now_ms"])
        self.assertIn("error", self.visitor.ask({"house": "play"})[0])
        self.visitor.ask({"house": "now"})
        self.visitor.until(lambda line: "moved" in line)
        self.assertEqual(before, self.visitor.ask({"since": 0}))

    def test_going_on_drops_later_inputs_and_keeps_states_again(self):
        self.press()
        self.press()
        self.rewind(30000)
        self.visitor.ask({"house": "go_on"})
        self.assertIsNone(self.live.snapshot()["past"])
        self.press()
        self.assertEqual(0, self.live.end()[0])
        with open(self.path("record"), encoding="utf-8") as file:
            lines = [json.loads(line) for line in file]
        self.assertEqual([{"to_ms": 30000, "inputs": 1}],
                         [{name: line["dropped"][name] for name in ("to_ms", "inputs")}
                          for line in lines if "dropped" in line])
        self.assertIn("end", lines[-1])
        self.assertTrue(os.path.getsize(self.path("state")) > 0)


class Guards(Live):
    def test_token_is_demanded_and_taken_from_field_and_cookie(self):
        live = self.serve("--token-file", self.write("token", TOKEN + "\n", 0o600))
        self.assertEqual(401, live.request("GET", "/api/house")[0])
        self.assertEqual(401, self.visit(live).status)
        self.assertEqual(200, live.request("GET", "/style.css")[0])
        bearer = {"Authorization": "Bearer " + TOKEN}
        self.assertEqual(200, live.request("GET", "/api/house", headers=bearer)[0])
        status, headers, _ = live.request("POST", "/token", "token=" + TOKEN)
        self.assertEqual((303, "/"), (status, headers["Location"]))
        cookie = headers["Set-Cookie"].split(";")[0]
        self.assertEqual(101, self.visit(live, headers=["Cookie: " + cookie]).status)
        self.assertEqual("/token#wrong", live.request("POST", "/token", "token=no")[1]["Location"])

    def test_strangers_and_their_pages_are_refused(self):
        live = self.serve()
        self.assertEqual(421, live.request("GET", "/", headers={"Host": "evil.example"})[0])
        self.assertEqual(403, self.visit(live, headers=["Origin: http://evil.example"]).status)
        own = self.serve("--host", "villa.example")
        self.assertEqual(200, own.request("GET", "/", headers={"Host": "villa.example"})[0])

    def test_what_cannot_be_served_ends_with_two(self):
        live = self.serve()
        token = self.write("token", TOKEN + "\n", 0o644)
        for options, words in ((["--listen", f"127.0.0.1:{live.port}"], "in use"),
                               (["--listen", "nonsense:1"], "no address"),
                               (["--listen", "0.0.0.0:0"], "--token-file"),
                               (["--listen", "127.0.0.1:0", "--token-file", token], "others can"),
                               (["--listen", "127.0.0.1:0", "--record", token], "already"),
                               (["--listen", "127.0.0.1:99999"], "no address"),
                               (["--speed", "0"], "pause")):
            status, told = self.refused(*options)
            self.assertEqual(2, status, told)
            self.assertIn(words, told)

    def test_half_a_request_and_half_a_frame_harm_nobody(self):
        live = self.serve("--speed", "pause")
        half = socket.create_connection(("127.0.0.1", live.port))
        self.addCleanup(half.close)
        half.sendall(b"POST /api/input HTTP/1.1\r\nHost: localhost\r\nContent-Le")
        visitor = self.visit(live)
        visitor.line()
        visitor.socket.sendall(frame(b'{"house":"pause"}')[:9])
        self.assertEqual(200, live.request("GET", "/healthz")[0])
        visitor.socket.sendall(frame(b'{"house":"pause"}')[9:])
        visitor.until(lambda line: "done" in line)


class Ends(Live):
    def test_signals_end_it_in_order(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            live = self.serve("--speed", "pause")
            visitor = self.visit(live)
            visitor.line()
            live.process.send_signal(number)
            with self.assertRaises(Closed) as closed:
                visitor.until(lambda line: False)
            self.assertEqual(1001, closed.exception.code)
            self.assertEqual(0, live.end()[0])

    def test_time_is_up_on_the_houses_own_clock(self):
        live = self.serve("--speed", "1000", "--for", "10m")
        self.assertEqual(0, live.process.wait(timeout=60))

    def test_record_that_is_killed_keeps_all_but_the_last_second(self):
        live = self.serve("--speed", "pause", "--record", self.path("record"))
        visitor = self.visit(live)
        visitor.line()
        visitor.ask({"driver": "hall", "trap": "nx.dmx.bp", "params": ["7"]})
        for _ in range(300):
            with open(self.path("record"), encoding="utf-8") as file:
                if "nx.dmx.bp" in file.read():
                    break
            visitor.ask({"house": "step", "ms": 1})
        live.end(signal.SIGKILL)
        with open(self.path("record"), encoding="utf-8") as file:
            inputs = [json.loads(line) for line in file if '"in":' in line]
        self.assertEqual(["nx.dmx.bp"], [line["in"]["trap"] for line in inputs])

    def test_full_device_for_the_record_is_told_and_ends_with_two(self):
        self.assertEqual(2, self.refused("--listen", "127.0.0.1:0", "--record", "/dev/full")[0])

    def test_record_that_may_not_grow_is_told_at_once_and_the_house_goes_on(self):
        most = 4096
        live = self.serve("--speed", "pause", "--record", self.path("record"), preexec_fn=lambda:
                          resource.setrlimit(resource.RLIMIT_FSIZE, (most, most)))
        visitor = self.visit(live)
        visitor.line()
        for _ in range(200):
            visitor.ask({"driver": "hall", "trap": "nx.dmx.bp", "params": ["7"]})
        self.assertIn("cannot be written any more", live.process.stderr.readline())
        self.assertEqual(200, live.request("GET", "/healthz")[0])
        visitor.ask({"house": "step", "ms": 60000})
        status, told = live.end()
        self.assertEqual(2, status)
        self.assertIn("could not be written to its end", told)
        replay = subprocess.run([PROGRAM, "replay", self.path("record")], capture_output=True,
                                text=True, timeout=60, check=False)
        self.assertEqual(0, replay.returncode, replay.stdout + replay.stderr)

    def test_reader_of_standard_output_that_closes_ends_it(self):
        read_end, write_end = os.pipe()
        live = LiveHouse(PROGRAM, self.house, "--speed", "60", "--tell", "verbose",
                         stdout=write_end)
        os.close(write_end)
        os.close(read_end)
        visitor = self.visit(live)
        with self.assertRaises((Closed, OSError)):
            visitor.send({"house": "act", "driver": "hall", "do": "click", "contact": 0})
            visitor.until(lambda line: False)
        self.assertEqual(2, live.end()[0])


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
