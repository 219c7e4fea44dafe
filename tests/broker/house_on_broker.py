"""What the tests on a real broker share: a Mosquitto, a house on it, and somebody who listens."""
import json
import os
import re
import signal
import socket
import subprocess
import tempfile
import threading
import urllib.request

import paho.mqtt.client as mqtt
from paho.mqtt.packettypes import PacketTypes
from paho.mqtt.properties import Properties

MOSQUITTO = "/usr/sbin/mosquitto"
ROOT = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
EXAMPLE = os.path.join(ROOT, "examples/house/house.xml")
LONGEST_WAIT_S = 40
# Told whenever something came from another process; guards what came.
CHANGED = threading.Condition()


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def until(is_true, what, longest=LONGEST_WAIT_S):
    """Waits until that is true, looking at it whenever something came from another process."""
    with CHANGED:
        value = CHANGED.wait_for(is_true, longest)
    if not value:
        raise AssertionError(f"waited {longest} s for {what}")
    return value


class Lines:
    """The lines that a process writes, as they come."""

    def __init__(self, stream):
        self.lines = []
        self.stream = stream
        self.thread = threading.Thread(target=self.read, daemon=True)
        self.thread.start()

    def read(self):
        for line in self.stream:
            with CHANGED:
                self.lines.append(line)
                CHANGED.notify_all()

    def with_text(self, *texts):
        with CHANGED:
            return next((line for line in self.lines if any(t in line for t in texts)), None)

    def close(self):
        self.thread.join()
        self.stream.close()


class Mosquitto:
    """A broker on a free port, which forgets everything when it is killed, unless told to keep it."""

    def __init__(self, keeps=False):
        self.port = free_port()
        self.folder = tempfile.TemporaryDirectory()
        self.config = os.path.join(self.folder.name, "mosquitto.conf")
        with open(self.config, "w", encoding="utf-8") as config:
            config.write(f"listener {self.port} 127.0.0.1\nallow_anonymous true\nlog_type information\n"
                         "log_dest stderr\n")
            if os.getuid() == 0:
                config.write("user root\n")
            if keeps:
                config.write(f"persistence true\npersistence_location {self.folder.name}/\n"
                             "autosave_interval 1\nautosave_on_changes true\n")
        self.process = None
        self.start()

    def start(self):
        self.process = subprocess.Popen([MOSQUITTO, "-c", self.config], stderr=subprocess.PIPE,
                                        text=True)
        self.lines = Lines(self.process.stderr)
        until(lambda: self.lines.with_text("running"), "Mosquitto")

    def kill(self):
        self.process.kill()
        self.process.wait()
        self.lines.close()

    def close(self):
        if self.process.poll() is None:
            self.kill()
        self.folder.cleanup()

    @property
    def url(self):
        return f"mqtt://127.0.0.1:{self.port}"


class House:
    """lighting-host serve."""

    def __init__(self, program, url, *options, house=EXAMPLE):
        self.process = subprocess.Popen(
            [program, "serve", house, "--mqtt", url, "--listen", "127.0.0.1:0", "--tell", "quiet",
             "--seed", "1", *options],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        self.lines = Lines(self.process.stderr)

    def is_alive(self):
        return self.process.poll() is None

    def page(self):
        line = until(lambda: self.lines.with_text("http://"), "the page")
        return re.search(r"http://\S+/", line).group(0)

    def post(self, line):
        request = urllib.request.Request(self.page() + "api/input", json.dumps(line).encode())
        with urllib.request.urlopen(request, timeout=LONGEST_WAIT_S) as answer:
            return answer.read().decode()

    def kilobytes(self):
        with open(f"/proc/{self.process.pid}/status", encoding="utf-8") as status:
            return int(re.search(r"VmRSS:\s+(\d+)", status.read()).group(1))

    def kill(self):
        self.process.kill()
        self.process.wait()
        self.lines.close()

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(LONGEST_WAIT_S)
        self.lines.close()
        return status


class Listener:
    """A client of its own that hears a filter, and keeps what came."""

    def __init__(self, broker, topics="#", version=mqtt.MQTTv5):
        self.heard = []
        self.connected = threading.Event()
        self.topics = topics
        self.client = mqtt.Client(protocol=version)
        self.client.on_connect = self.on_connect
        self.client.on_subscribe = lambda *_: self.connected.set()
        self.client.on_message = self.on_message
        self.client.reconnect_delay_set(1, 1)
        self.client.connect("127.0.0.1", broker.port)
        self.client.loop_start()
        assert self.connected.wait(LONGEST_WAIT_S)

    def on_connect(self, client, *_):
        client.subscribe(self.topics, qos=1)

    def on_message(self, _, __, message):
        with CHANGED:
            self.heard.append(message)
            CHANGED.notify_all()

    def all(self, topic):
        """The payloads that came on topics that match a regular expression, in order."""
        with CHANGED:
            return [m.payload.decode() for m in self.heard if re.fullmatch(topic, m.topic)]

    def messages(self, topic):
        with CHANGED:
            return [m for m in self.heard if re.fullmatch(topic, m.topic)]

    def last(self, topic):
        found = self.all(re.escape(topic))
        return found[-1] if found else None

    def forget(self):
        with CHANGED:
            self.heard.clear()

    def wait_for(self, topic, payload=None, longest=LONGEST_WAIT_S):
        def came():
            return [p for p in self.all(topic) if payload is None or p == payload]
        return until(came, f"{topic} {payload or ''}", longest)

    def send(self, topic, payload, retain=False, properties=None):
        self.client.publish(topic, payload, qos=1, retain=retain,
                            properties=properties).wait_for_publish()

    def ask(self, topic, payload, answer_topic, correlation):
        properties = Properties(PacketTypes.PUBLISH)
        properties.ResponseTopic = answer_topic
        properties.CorrelationData = correlation
        self.send(topic, payload, properties=properties)

    def close(self):
        self.client.disconnect()
        self.client.loop_stop()


def discovered(listener, house):
    """Each device that was told of, by its id."""
    return {m.topic.split("/")[2]: json.loads(m.payload)
            for m in listener.messages(f"homeassistant/device/lh_{house}_[^/]+/config")
            if m.payload}
