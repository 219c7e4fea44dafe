"""A live house for tests: starts the program's serve, and speaks HTTP and WebSocket to it."""
import base64
import http.client
import json
import os
import re
import signal
import socket
import struct
import subprocess

LONGEST_WAIT = 60
TEXT, CLOSE, PING, PONG = 1, 8, 9, 10


class Closed(Exception):
    """The other end has closed the WebSocket: its code and reason."""

    def __init__(self, code, reason):
        super().__init__(f"closed with {code}: {reason}")
        self.code = code
        self.reason = reason


class WebSocket:
    """One visitor. Messages are taken apart into lines, each one JSON object."""

    def __init__(self, port, path="/protocol", headers=(), address="127.0.0.1"):
        self.socket = socket.create_connection((address, port), timeout=LONGEST_WAIT)
        key = base64.b64encode(os.urandom(16)).decode()
        lines = [f"GET {path} HTTP/1.1", f"Host: {address}:{port}", "Upgrade: websocket",
                 "Connection: Upgrade", f"Sec-WebSocket-Key: {key}", "Sec-WebSocket-Version: 13",
                 *headers]
        self.socket.sendall(("\r\n".join(lines) + "\r\n\r\n").encode())
        self.buffer = b""
        head = self._until(b"\r\n\r\n").decode()
        self.status = int(head.split()[1])
        self.lines = []
        self.is_whole = True

    def _fill(self):
        data = self.socket.recv(65536)
        if not data:
            raise Closed(1006, "the connection broke off")
        self.buffer += data

    def _until(self, mark):
        while mark not in self.buffer:
            self._fill()
        part, self.buffer = self.buffer.split(mark, 1)
        return part

    def _take(self, size):
        while len(self.buffer) < size:
            self._fill()
        part, self.buffer = self.buffer[:size], self.buffer[size:]
        return part

    def send(self, line, opcode=TEXT):
        data = (line if isinstance(line, str) else json.dumps(line)).encode()
        self.socket.sendall(frame(data, opcode))

    def _read_frame(self):
        first, second = self._take(2)
        size = second & 127
        if size == 126:
            size = struct.unpack(">H", self._take(2))[0]
        elif size == 127:
            size = struct.unpack(">Q", self._take(8))[0]
        self.is_whole = first & 0x80 != 0
        return first & 15, self._take(size)

    def line(self):
        """The next line, as an object. Raises Closed."""
        while not self.lines:
            opcode, data = self._read_frame()
            while opcode == TEXT and not self.is_whole:
                data += self._read_frame()[1]
            if opcode == CLOSE:
                code = struct.unpack(">H", data[:2])[0] if len(data) >= 2 else 1005
                raise Closed(code, data[2:].decode())
            if opcode == PING:
                self.socket.sendall(frame(data, PONG))
            elif opcode == TEXT:
                self.lines = data.decode().split("\n")
        return json.loads(self.lines.pop(0))

    def ask(self, line):
        """Hands in a line; gives what comes back up to its `done`, without that."""
        self.send(line)
        answers = []
        while True:
            answer = self.line()
            if "done" in answer:
                return answers
            answers.append(answer)

    def until(self, condition):
        """Reads lines until one meets the condition, and gives it."""
        while True:
            line = self.line()
            if condition(line):
                return line

    def close(self):
        self.socket.close()


def frame(data, opcode=TEXT):
    """One frame of a client, masked with zeros."""
    size = len(data)
    if size < 126:
        head = struct.pack(">BB", 0x80 | opcode, 0x80 | size)
    elif size < 65536:
        head = struct.pack(">BBH", 0x80 | opcode, 0x80 | 126, size)
    else:
        head = struct.pack(">BBQ", 0x80 | opcode, 0x80 | 127, size)
    return head + b"\0\0\0\0" + data


class LiveHouse:
    """The program with its command serve, on a free port."""

    def __init__(self, program, house, *options, **others):
        self.process = subprocess.Popen(
            [program, "serve", house, "--listen", "127.0.0.1:0", *options],
            **{"stdout": subprocess.DEVNULL, "stderr": subprocess.PIPE, "text": True, **others})
        self.told = []
        self.ended = None
        self.port = self._find_port()

    def _find_port(self):
        for line in self.process.stderr:
            self.told.append(line)
            found = re.search(r"live at http://\S+:(\d+)/", line)
            if found:
                return int(found.group(1))
        raise RuntimeError("it does not serve: " + "".join(self.told))

    def visit(self, path="/protocol", headers=()):
        return WebSocket(self.port, path, headers)

    def request(self, method, path, body=None, headers=None):
        """Gives the status, the headers and the body."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=LONGEST_WAIT)
        connection.request(method, path, body, headers or {})
        answer = connection.getresponse()
        text = answer.read().decode()
        connection.close()
        return answer.status, dict(answer.getheaders()), text

    def snapshot(self):
        return json.loads(self.request("GET", "/api/house")[2])

    def end(self, number=signal.SIGTERM):
        """Ends it; gives the exit status and what it told on standard error."""
        if self.ended is None:
            if self.process.poll() is None:
                self.process.send_signal(number)
            told = "".join(self.told) + self.process.stderr.read()
            self.process.stderr.close()
            self.ended = self.process.wait(timeout=LONGEST_WAIT), told
        return self.ended

    def memory_kb(self):
        with open(f"/proc/{self.process.pid}/status", encoding="utf-8") as status:
            return int(re.search(r"VmRSS:\s+(\d+)", status.read()).group(1))
