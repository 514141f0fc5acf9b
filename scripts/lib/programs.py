"""Started programs and clients of the Mux, for the scripts that play with the running system."""
import collections
import json
import pathlib
import random
import socket
import subprocess
import threading
import time

DEADLINE = 30.0


class PlayError(Exception):
    """Something is not as it should be."""


class Silence(PlayError):
    """Nothing came within the time that there was for it."""


def wait_until(condition, what, deadline=DEADLINE):
    end = time.monotonic() + deadline
    while not condition():
        if time.monotonic() > end:
            raise PlayError(f"{what}: not within {deadline:.0f} seconds")
        time.sleep(0.02)


# The kernel gives connections and those who ask for any port others, from 32768 on.
PORTS = range(20000, 30000)
claims = []


def free_port():
    """A TCP port that nobody has, and that nobody else is given here until this process ends."""
    for port in random.sample(PORTS, len(PORTS)):
        claim = socket.socket(socket.AF_UNIX)
        try:
            # A name without a file: it is gone with this process.
            claim.bind(f"\0mux-test-port-{port}")
            with socket.socket() as probe:
                probe.bind(("0.0.0.0", port))
        except OSError:
            claim.close()
            continue
        claims.append(claim)
        return port
    raise PlayError("no port is free")


def packet(text):
    """A client's packet around a JSON text (str or bytes)."""
    body = b"MUXM" + (text if isinstance(text, bytes) else text.encode())
    return (len(body) + 2).to_bytes(2, "little") + body


class Program:
    """One started program, its output collected line by line; with `keep` only so many of the last lines."""

    def __init__(self, *command, environment=None, keep=None):
        self.name = pathlib.Path(command[0]).name
        self.lines = collections.deque(maxlen=keep)
        self.process = subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
            errors="replace", bufsize=1, env=environment)
        self.reader = threading.Thread(target=self._collect, daemon=True)
        self.reader.start()

    def _collect(self):
        for line in self.process.stdout:
            self.lines.append(line.rstrip("\n"))

    # A copy, because a deque that grows cannot be walked through.
    def lines_with(self, text):
        return [line for line in list(self.lines) if text in line]

    def count(self, text):
        return len(self.lines_with(text))

    def wait_for(self, text, times=1, deadline=DEADLINE):
        def there():
            if self.process.poll() is not None:
                # What it wrote last is still to be read.
                self.reader.join(1)
                if self.count(text) < times:
                    raise PlayError(f"{self.name} ended with status {self.process.returncode}: {list(self.lines)[-3:]}")
            return self.count(text) >= times

        wait_until(there, f'"{text}" from {self.name}', deadline)

    def command(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def stop(self, signal_number, status):
        self.process.send_signal(signal_number)
        try:
            ended = self.process.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            raise PlayError(f"{self.name} does not stop") from None
        if ended != status:
            raise PlayError(f"{self.name} ended with status {ended}, not {status}")

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()


class Client:
    """A client of the Mux: packets one way, bare JSON texts one after another the other way."""

    def __init__(self, port, deadline=DEADLINE):
        self.buffer = ""

        def connected():
            try:
                self.socket = socket.create_connection(("127.0.0.1", port), deadline)
                return True
            except ConnectionRefusedError:
                return False

        wait_until(connected, "The Mux listening", deadline)

    def send(self, text):
        self.socket.sendall(packet(text))

    def receive(self):
        """The next text and what it says."""
        while True:
            message = self.take_received()
            if message is not None:
                return message
            try:
                received = self.socket.recv(65536)
            except TimeoutError:
                raise Silence(f"The client got nothing within {self.socket.gettimeout()} seconds") from None
            if not received:
                raise PlayError("The Mux closed the client's connection")
            self.buffer += received.decode()

    def take_received(self):
        """The next text that has arrived already, None when there is none."""
        try:
            message, end = json.JSONDecoder().raw_decode(self.buffer)
        except ValueError:
            return None
        text, self.buffer = self.buffer[:end], self.buffer[end:]
        return text, message

    def close(self):
        self.socket.close()
