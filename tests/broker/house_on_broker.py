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
HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.abspath(os.path.join(HERE, "../.."))
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

    def forget(self):
        with CHANGED:
            self.lines.clear()

    def close(self):
        self.thread.join()
        self.stream.close()


def password_file(path, users):
    """A file with the passwords of users, as Mosquitto reads it."""
    with open(path, "w", encoding="utf-8") as file:
        file.writelines(f"{user}:{password}\n" for user, password in users.items())
    os.chmod(path, 0o600)
    subprocess.run(["mosquitto_passwd", "-U", path], check=True)
    return path


class Authority:
    """Certificates of a broker and of a house, by an authority of their own."""

    def __init__(self, folder):
        self.folder = folder
        os.mkdir(folder)
        self.openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
                     "/CN=authority", "-keyout", self.path("ca.key"), "-out", self.path("ca.crt"))
        for name, host in (("broker", "localhost"), ("house", "house")):
            with open(self.path("names"), "w", encoding="utf-8") as names:
                names.write(f"subjectAltName=DNS:{host}")
            self.openssl("req", "-newkey", "rsa:2048", "-nodes", "-subj", f"/CN={host}", "-keyout",
                         self.path(name + ".key"), "-out", self.path("request"))
            self.openssl("x509", "-req", "-days", "2", "-in", self.path("request"), "-CA",
                         self.path("ca.crt"), "-CAkey", self.path("ca.key"), "-CAcreateserial",
                         "-extfile", self.path("names"), "-out", self.path(name + ".crt"))

    @staticmethod
    def openssl(*arguments):
        subprocess.run(["openssl", *arguments], check=True, capture_output=True)

    def path(self, name):
        return os.path.join(self.folder, name)


def preloaded(path, source):
    """A library of the tests, made at that path, that a program is to load first."""
    subprocess.run(["cc", "-shared", "-fPIC", "-o", path + ".so", os.path.join(HERE, source)],
                   check=True)
    return path + ".so"


class NotedSockets:
    """Notes which connections of a program send at once what they are given."""

    def __init__(self, path):
        self.path = path
        self.environment = {"LD_PRELOAD": preloaded(path, "noted_sockets.c"),
                            "NOTED_SOCKETS": path}

    def without_delay(self):
        with open(self.path, encoding="utf-8") as file:
            return len(file.readlines())


class OldBroker:
    """A way to a broker that knows no MQTT 5: who begins with that gets a refusal, or nothing but
    the end of the connection. All others are passed on."""
    LEVEL_5 = b"\x00\x04MQTT\x05"

    def __init__(self, broker, refusal):
        self.broker = broker
        self.refusal = refusal
        self.refused = 0
        self.socket = socket.create_server(("127.0.0.1", 0))
        self.url = f"mqtt://127.0.0.1:{self.socket.getsockname()[1]}"
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                client, _ = self.socket.accept()
            except OSError:
                return
            threading.Thread(target=self.serve, args=(client,), daemon=True).start()

    def serve(self, client):
        with client:
            first = client.recv(65536)
            if self.LEVEL_5 in first:
                self.refused += 1
                client.sendall(self.refusal)
                return
            with socket.create_connection(("127.0.0.1", self.broker.port)) as onward:
                onward.sendall(first)
                back = threading.Thread(target=self.pass_on, args=(onward, client), daemon=True)
                back.start()
                self.pass_on(client, onward)
                back.join()

    @staticmethod
    def pass_on(source, target):
        try:
            while data := source.recv(65536):
                target.sendall(data)
            target.shutdown(socket.SHUT_WR)
        except OSError:
            pass  # either end may hang up

    def close(self):
        self.socket.close()


class MovedClock:
    """A wall clock for a program that can be moved while the program runs."""

    def __init__(self, path):
        self.path = path
        self.move(0)
        self.environment = {"LD_PRELOAD": preloaded(path, "moved_clock.c"), "MOVED_CLOCK": path}

    def move(self, seconds):
        with open(self.path + ".new", "w", encoding="utf-8") as file:
            file.write(str(seconds))
        os.rename(self.path + ".new", self.path)


class Mosquitto:
    """A broker on a free port of this machine, which forgets everything when it is killed. With an
    authority also on another, encrypted one, where both sides show a certificate and clients a
    password. `config` is a whole configuration instead, with a listener on port 1883."""

    def __init__(self, authority=None, users=None, config=None):
        self.port = free_port()
        self.secure_port = free_port()
        self.folder = tempfile.TemporaryDirectory()
        self.config = os.path.join(self.folder.name, "mosquitto.conf")
        with open(self.config, "w", encoding="utf-8") as file:
            file.write(config.replace("listener 1883", f"listener {self.port}") if config
                       else self.text(authority, users))
            file.write("log_type information\nlog_type notice\nlog_dest stderr\nset_tcp_nodelay true\n")
            if os.getuid() == 0:
                file.write("user root\n")
        self.process = None
        self.start()

    def text(self, authority, users):
        text = (f"per_listener_settings true\nlistener {self.port} 127.0.0.1\n"
                "allow_anonymous true\n")
        if authority:
            passwords = password_file(os.path.join(self.folder.name, "passwords"), users)
            text += (f"listener {self.secure_port} 127.0.0.1\nallow_anonymous false\n"
                     f"password_file {passwords}\ncafile {authority.path('ca.crt')}\n"
                     f"certfile {authority.path('broker.crt')}\n"
                     f"keyfile {authority.path('broker.key')}\nrequire_certificate true\n")
        return text

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

    @property
    def secure_url(self):
        return f"mqtts://localhost:{self.secure_port}"


class House:
    """lighting-host serve."""

    def __init__(self, program, url, *options, house=EXAMPLE, environment=None):
        self.process = subprocess.Popen(
            [program, "serve", house, "--mqtt", url, "--listen", "127.0.0.1:0", "--tell", "quiet",
             "--seed", "1", *options],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
            env={**os.environ, **(environment or {})})
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

    def kilobytes(self, what="VmRSS"):
        with open(f"/proc/{self.process.pid}/status", encoding="utf-8") as status:
            return int(re.search(what + r":\s+(\d+)", status.read()).group(1))

    def kill(self):
        self.process.kill()
        self.process.wait()
        self.lines.close()

    def kill_if_alive(self):
        if self.is_alive():
            self.kill()

    def end_when_told(self, listener, topic):
        """Ends once something was told on that topic since the listener began."""
        until(lambda: [m for m in listener.messages(topic) if not m.retain], topic)
        assert self.end() == 0

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

    def retained(self):
        """What the broker keeps, by topic, as a client hears it that has just come."""
        mark = f"mark/{id(self)}"
        self.send(mark, "")
        self.wait_for(mark)
        return {m.topic: m.payload for m in self.messages(".*") if m.retain}

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


class Flood:
    """Sends nonsense, or a payload, to topics in turn, as fast as it is answered, and counts the
    answers."""
    # A broker keeps no more than twice that for a client.
    WAITING = 500

    def __init__(self, folder, broker, topics, answers, payload=None):
        self.tool = os.path.join(folder, "flood")
        subprocess.run(["cc", "-O2", "-o", self.tool, os.path.join(HERE, "flood.c"), "-lmosquitto"],
                       check=True)
        self.words = [str(self.WAITING), answers] + ([payload] if payload else [])
        self.port = str(broker.port)
        self.topics = "".join(topic + "\n" for topic in topics)
        self.answers = 0
        self.seconds = 0

    def send(self, count):
        done = subprocess.run([self.tool, self.port, str(count), *self.words], input=self.topics,
                              capture_output=True, text=True, check=False)
        answered, milliseconds = done.stdout.split()
        self.answers += int(answered)
        self.seconds += int(milliseconds) / 1000


def discovered(listener, house):
    """Each device that was told of, by its id."""
    return {m.topic.split("/")[2]: json.loads(m.payload)
            for m in listener.messages(f"homeassistant/device/lh_{house}_[^/]+/config")
            if m.payload}
