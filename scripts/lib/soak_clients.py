"""The clients of a soak, a thread each. Those that count check that every request which must be answered is answered
exactly once, with its own MessageID and on its own connection."""
import json
import random
import select
import socket
import struct
import threading
import time

import client_requests as requests
from programs import Client, PlayError, Silence, packet

# A request that has no answer by then gets none. Frames that are held back wait for a pause of 11 s, which an event and a
# question of the Mux put off to 29 s at most.
ANSWER_DEADLINE = 40.0
SILENCE_DEADLINE = 60.0
EVENT_PREFIX = "lockEventMessage-"
PAUSE_BEHIND_ANSWER = 0.05

# An answer bears the ID of its request, and 4.8 MB of answers are more than the kernel and the Mux keep for a client.
LONG_ID = 60000
LONGEST_ANSWER = LONG_ID + 1000
SLOW_REQUESTS = 80
PAUSE_OF_A_TRICKLE = 0.1
PAUSE_BETWEEN_SLOW_CLIENTS = 15.0, 40.0

# A frame of a gateway that arrives in one piece with another is taken up 11 seconds later.
QUIET_AT_THE_END = 25.0


class SoakClient(threading.Thread):
    """Does step() again and again until it is told to end. What goes wrong ends it earlier and becomes a finding."""

    def __init__(self, name, port, tally):
        super().__init__(name=name)
        self.port, self.tally = port, tally
        self.ending = threading.Event()
        self.number = 0

    def run(self):
        while not self.ending.is_set():
            self.step()
        self.finish()

    def next_id(self):
        self.number += 1
        return f"{self.name}-{self.number}"

    def finish(self):
        pass


class CountingClient(SoakClient):
    """One connection for the whole soak; keeps the events that it is told."""

    def __init__(self, name, port, tally):
        super().__init__(name, port, tally)
        self.client = Client(port, SILENCE_DEADLINE)
        self.events = []
        self.open = set()

    def receive(self):
        """Takes the next message; None for an event."""
        _, message = self.client.receive()
        return self.take(message)

    def take(self, message):
        message_id = message["MessageID"]
        if message_id.startswith(EVENT_PREFIX):
            self.events.append(message["Data"]["RFIDData"])
            self.tally.add("events received")
            return None
        if message_id not in self.open:
            self.tally.find(f"{self.name}: an answer that it does not wait for: {message}")
        self.open.discard(message_id)
        return message

    def receive_answers(self):
        while self.open:
            self.receive()

    def finish(self):
        """Takes the events that are still on their way; there is an end when nothing comes for a while."""
        self.client.socket.settimeout(QUIET_AT_THE_END)
        try:
            while True:
                self.receive()
        except Silence:
            pass


class GatewayClient(CountingClient):
    """One request at a time to a gateway that keeps to the rules: requests that are queued within one period share
    their reference ID, and only the first of them would be answered. The Mux's own question every 27 s may be the other
    one; such a request is given up, and the soak compares how many were with how many that can have been."""

    def __init__(self, name, port, tally, gateway_id):
        super().__init__(name, port, tally)
        self.gateway_id = gateway_id
        self.unanswered = 0
        self.client.socket.settimeout(1.0)

    def step(self):
        message_id = self.next_id()
        self.open.add(message_id)
        self.client.send(requests.for_gateway(message_id, self.gateway_id))
        self.tally.add("requests to gateways that keep to the rules")
        self.receive_until(time.monotonic() + ANSWER_DEADLINE)
        if self.open:
            self.unanswered += 1
            self.open.clear()
            self.tally.add("requests beside the Mux's own question")
        else:
            self.tally.add("their answers")
        self.ending.wait(PAUSE_BEHIND_ANSWER)

    def receive_until(self, end):
        while self.open and time.monotonic() < end:
            try:
                self.receive()
            except Silence:
                pass


class FaultyGatewayClient(CountingClient):
    """Requests to a gateway that goes wrong: none is answered twice or to somebody else, but any may stay open."""

    def __init__(self, name, port, tally, gateway_id):
        super().__init__(name, port, tally)
        self.gateway_id = gateway_id
        self.client.socket.settimeout(1.0)

    def step(self):
        message_id = self.next_id()
        self.open.add(message_id)
        self.client.send(requests.for_gateway(message_id, self.gateway_id))
        self.tally.add("requests to gateways that go wrong")
        end = time.monotonic() + 1.5
        while message_id in self.open and time.monotonic() < end:
            try:
                if self.receive() is not None:
                    self.tally.add("answers of these")
            except Silence:
                pass


class RefusedClient(CountingClient):
    """Many requests at a time that the Mux refuses by itself, and among them texts that it does not answer."""

    def step(self):
        ids = [self.next_id() for _ in range(random.randrange(1, 60))]
        self.open.update(ids)
        stream = b""
        for message_id in ids:
            stream += packet(requests.refused_by_mux(message_id))
            if random.random() < 0.2:
                stream += packet(requests.unanswered(message_id))
        self.send_in_pieces(stream)
        self.tally.add("requests that the Mux refuses", len(ids))
        self.receive_answers()
        self.tally.add("their refusals", len(ids))

    def send_in_pieces(self, stream):
        while stream:
            size = random.choice((1, 2, 7, 100, len(stream)))
            self.client.socket.sendall(stream[:size])
            stream = stream[size:]


class ComingAndGoingClient(SoakClient):
    """Connects, asks and goes again, in order or not, with or without waiting for the answers. Not more often than
    the Mux, which tries 15 times and a millisecond each to deliver an answer, can stand beside its other clients."""

    def step(self):
        self.ending.wait(random.uniform(0.1, 0.5))
        client = Client(self.port)
        self.tally.add("clients that came and went")
        own = [self.next_id() for _ in range(random.randrange(4))]
        try:
            for message_id in own:
                client.send(requests.refused_by_mux(message_id))
            if random.random() < 0.3:
                client.socket.sendall(requests.garbage())
                self.tally.add("pieces of garbage")
            if random.random() < 0.5:
                self.look_at_answers(client, own)
            if random.random() < 0.5:
                client.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        except OSError:
            pass  # the Mux may close a client that sends garbage
        client.close()

    def look_at_answers(self, client, own):
        client.socket.settimeout(0.05)
        try:
            while own:
                _, message = client.receive()
                message_id = message["MessageID"]
                if message_id in own:
                    own.remove(message_id)
                elif not message_id.startswith(EVENT_PREFIX):
                    self.tally.find(f"{self.name}: somebody else's answer: {message}")
        except PlayError:
            pass


class SlowClient(SoakClient):
    """Asks for more than all buffers on the way take, reads nothing or a trickle of it for `period` seconds, and then
    reads the rest. By then the Mux has closed it; what had come is its own answers, whole and in order, up to where the
    stream ends. What it asked for beyond that fails at delivery 15 times each, a millisecond a time and among
    everybody's answers, so it is few and long requests."""

    def __init__(self, name, port, tally, bytes_a_second, period, delay):
        super().__init__(name, port, tally)
        self.delay = delay
        self.bytes_a_read, self.period = round(bytes_a_second * PAUSE_OF_A_TRICKLE), period
        self.kind = "read a trickle" if bytes_a_second else "read nothing"

    def step(self):
        self.ending.wait(random.uniform(*PAUSE_BETWEEN_SLOW_CLIENTS) if self.number else self.delay)
        client = Client(self.port, SILENCE_DEADLINE)
        client.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        asked = [self.next_id() + "x" * LONG_ID for _ in range(SLOW_REQUESTS)]
        self.tally.add(f"clients that {self.kind}")
        stream = bytearray()
        try:
            for message_id in asked:
                client.send(requests.refused_by_mux(message_id))
            self.dawdle(client, stream)
            if not self.ending.is_set():
                self.read_rest(client, stream)
        except ConnectionError:
            pass  # closed by the Mux, which may have had something of ours unread
        client.close()
        self.check(stream.decode(), asked)

    def dawdle(self, client, stream):
        end = time.monotonic() + self.period
        while time.monotonic() < end and not self.ending.wait(PAUSE_OF_A_TRICKLE):
            if self.bytes_a_read and select.select([client.socket], [], [], 0)[0]:
                stream += client.socket.recv(self.bytes_a_read)

    def read_rest(self, client, stream):
        try:
            while received := client.socket.recv(1 << 16):
                stream += received
        except TimeoutError:
            self.tally.find(f"{self.name}: still connected though it {self.kind} for {self.period} s")

    def check(self, text, asked):
        """Whole answers in the order of the requests, events anywhere among them, then perhaps a part of one more."""
        expected, position, decoder = iter(asked), 0, json.JSONDecoder()
        while position < len(text):
            try:
                message, position = decoder.raw_decode(text, position)
            except ValueError:
                break
            if message["MessageID"].startswith(EVENT_PREFIX):
                continue
            if message["MessageID"] != next(expected, None):
                self.tally.find(f"{self.name}: its stream is torn: {text[max(0, position - 300):position]}")
                return
            self.tally.add(f"answers to those that {self.kind}")
        if len(text) - position > LONGEST_ANSWER:
            self.tally.find(f"{self.name}: {len(text) - position} bytes that are no answer: "
                            f"{text[position:position + 300]}")
