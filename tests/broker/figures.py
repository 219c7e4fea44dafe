#!/usr/bin/python3
"""Measures a house on a broker: messages a second, and how long a press takes to its message.

    figures.py PROGRAM [PRESSES]

and what a large house at rest costs, beside the same house without a broker.

The round trip of a bare message through the same broker, by libmosquitto alone, stands beside it. A
press comes over the broker too, so it takes two such ways and what the house does between them.
"""
import os
import statistics
import subprocess
import sys
import tempfile
import threading

from house_on_broker import HERE, Flood, House, Listener, Mosquitto

BASE = "lighting/house"
SETTLED_S = 3
SECONDS = 30
COMMANDS = 50000
LARGE = 1000
MORNING = 7
A_MINUTE_S = 60
AN_HOUR_MS = 3600000


def percentiles(microseconds):
    ordered = sorted(microseconds)
    return (f"median {statistics.median(ordered) / 1000:.2f} ms, "
            f"99th percentile {ordered[len(ordered) * 99 // 100] / 1000:.2f} ms")


def round_trips(tool, broker, topic, payload, answer, count):
    done = subprocess.run([tool, str(broker.port), str(count), topic, payload, answer],
                          capture_output=True, text=True, check=True)
    return [int(line) for line in done.stdout.split()]


def pass_time(seconds):
    """What is measured is told at its own pace: nobody sets this event."""
    threading.Event().wait(seconds)


def rate_out(program, broker):
    with tempfile.TemporaryDirectory() as folder:
        house = House(program, broker.url, "--speed", "60", "--state", folder + "/state")
        listener = Listener(broker, BASE + "/#")
        listener.wait_for(BASE + "/table_lamp/light")
        # A house begins at midnight, and at night nothing happens.
        for _ in range(MORNING):
            house.post({"house": "step", "ms": AN_HOUR_MS})
        house.post({"house": "play"})
        # What has come of those hours is told first, and not counted.
        pass_time(SETTLED_S)
        listener.forget()
        pass_time(A_MINUTE_S)
        print(f"60 times real time, from {MORNING} to {MORNING + 1} in the morning: "
              f"{len(listener.heard) / A_MINUTE_S:.1f} messages a second out")
        house.end()
        listener.close()


def rate_in(broker):
    topic = BASE + "/table_lamp/light"
    with tempfile.TemporaryDirectory() as folder:
        flood = Flood(folder, broker, [topic + "/set"], topic, '{"state":"ON","brightness":40}')
        flood.send(COMMANDS)
    print(f"commands: {flood.answers / flood.seconds:.0f} a second in, each with its target out")


def large_house(path):
    """A house of many drivers at rest: lights, dimmers, pucks, and load groups of ten."""
    types = ("zigbee_light", "wired_dimmer", "puck", "zigbee_light")
    drivers = [f'<driver name="d{i}" type="{types[i % 4]}" id="{i + 1}"><device simulated="true"/>'
               "</driver>" for i in range(LARGE)]
    groups = [f'<load_group id="{g + 1}">' + "".join(f"<member>d{g * 40 + 4 * i}</member>"
                                                     for i in range(10)) + "</load_group>"
              for g in range(LARGE // 40)]
    with open(path, "w", encoding="utf-8") as file:
        file.write("<house>" + "".join(drivers + groups) + "</house>")


def processor_seconds(house):
    with open(f"/proc/{house.process.pid}/stat", encoding="utf-8") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def cost_at_rest(program, broker):
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "large.xml")
        large_house(path)
        listener = Listener(broker, f"lighting/large/d{LARGE - 1}/light")
        for url, where in ((broker.url, "on a broker"), ("mqtt://127.0.0.1:1", "without one")):
            house = House(program, url, house=path)
            house.page()
            if url == broker.url:
                listener.wait_for(f"lighting/large/d{LARGE - 1}/light", longest=120)
            pass_time(SETTLED_S)
            before = processor_seconds(house)
            pass_time(SECONDS)
            share = (processor_seconds(house) - before) / SECONDS
            print(f"{LARGE} drivers at rest, {where}: {100 * share:.1f} % of a processor")
            house.end()
        listener.close()


def main():
    program = os.path.abspath(sys.argv[1])
    presses = int(sys.argv[2]) if len(sys.argv) > 2 else 500
    broker = Mosquitto()
    rate_out(program, broker)
    cost_at_rest(program, broker)
    house = House(program, broker.url, "--mqtt-protocol")
    listener = Listener(broker, "#")
    listener.wait_for(BASE + "/status", "online")
    listener.close()
    rate_in(broker)
    press = '{"driver":"kitchen_keypad","button":{"id":1,"action":"click"}}'
    with tempfile.TemporaryDirectory() as folder:
        tool = os.path.join(folder, "round_trip")
        subprocess.run(["cc", "-O2", "-o", tool, os.path.join(HERE, "round_trip.c"), "-lmosquitto"],
                       check=True)
        # In turns, so that what else the machine does falls on both.
        through, bare = [], []
        for _ in range(5):
            through += round_trips(tool, broker, BASE + "/protocol/in", press,
                                   BASE + "/kitchen_keypad/button_1/event", presses // 5)
            bare += round_trips(tool, broker, "bare", "x", "bare", presses // 5)
    print("press to message, through the house:", percentiles(through))
    print("a bare message through the broker:  ", percentiles(bare))
    house.end()
    broker.close()


if __name__ == "__main__":
    main()
