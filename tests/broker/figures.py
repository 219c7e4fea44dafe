#!/usr/bin/python3
"""Measures a house on a broker: messages a second, and how long a press takes to its message.

    figures.py PROGRAM [PRESSES]

The round trip of a bare message through the same broker, by the same client, stands beside it.
"""
import os
import statistics
import sys
import time

from house_on_broker import House, Listener, Mosquitto, until

BASE = "lighting/house"
SECONDS = 20
COMMANDS = 5000


def percentiles(times):
    ordered = sorted(times)
    return (f"median {statistics.median(ordered) * 1000:.2f} ms, "
            f"99th percentile {ordered[len(ordered) * 99 // 100] * 1000:.2f} ms")


def round_trips(listener, topic, payload, answer, count):
    times = []
    for _ in range(count):
        listener.forget()
        begin = time.perf_counter()
        listener.client.publish(topic, payload)
        until(lambda: listener.all(answer), answer)
        times.append(time.perf_counter() - begin)
    return times


def rate_out(program, broker):
    house = House(program, broker.url, "--speed", "60")
    listener = Listener(broker, BASE + "/#")
    listener.wait_for(BASE + "/table_lamp/light")
    listener.forget()
    begin = time.monotonic()
    try:
        until(lambda: time.monotonic() > begin + SECONDS, "the end", SECONDS + 1)
    except AssertionError:
        pass
    print(f"60 times real time: {len(listener.heard) / (time.monotonic() - begin):.1f} "
          "messages a second out")
    house.end()
    listener.close()


def rate_in(listener):
    topic = BASE + "/table_lamp/light"
    listener.forget()
    begin = time.monotonic()
    for i in range(COMMANDS):
        listener.client.publish(topic + "/set",
                                '{"state":"ON","brightness":%d}' % (i % 100 + 1), qos=1)
    until(lambda: len(listener.all(topic)) >= COMMANDS, "every target", 120)
    print(f"commands: {COMMANDS / (time.monotonic() - begin):.0f} a second in, each with its target "
          "out")


def main():
    program = os.path.abspath(sys.argv[1])
    presses = int(sys.argv[2]) if len(sys.argv) > 2 else 500
    broker = Mosquitto()
    rate_out(program, broker)
    house = House(program, broker.url, "--mqtt-protocol", "--speed", "1")
    listener = Listener(broker, "#")
    listener.wait_for(BASE + "/table_lamp/light")
    press = '{"driver":"kitchen_keypad","button":{"id":1,"action":"click"}}'
    through = round_trips(listener, BASE + "/protocol/in", press,
                          BASE + "/kitchen_keypad/button_1/event", presses)
    print("press to message, through the house:", percentiles(through))
    print("a bare message through the broker:  ",
          percentiles(round_trips(listener, "bare", "x", "bare", presses)))
    rate_in(listener)
    house.end()
    listener.close()
    broker.close()


if __name__ == "__main__":
    main()
