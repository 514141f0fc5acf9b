#!/usr/bin/env python3
"""Client of the Mux without dependencies: open a lock, print the answer, then events.

    python3 mux_client.py [--host 127.0.0.1] [--port 5555] --gateway 1 --lock 5 [--events 3]

Each JSON text to the Mux is one packet: two bytes with the length of the whole packet, low byte first; the characters
MUXM; the text. Answers and events are bare JSON objects, one directly after the other.
Exit status: 0 = ACK, 1 = NACK, 2 = no reply; the lock may still have been opened.
"""
import argparse
import json
import socket
import sys
import time
import uuid

ACK, LOCK_OPEN = 0, 10
EVENTS = {50: "access allowed", 51: "card at reader", 60: "PIN entered"}
TIMEOUT = 15.0  # seconds: a gateway's answer that comes together with a card can be eleven late


class MuxClient:
    def __init__(self, host, port):
        self.socket = socket.create_connection((host, port), TIMEOUT)
        self.received = b""
        self.events = []

    def send(self, code, data):
        """Sends a request and returns its identifier, which the answer repeats."""
        message_id = str(uuid.uuid4())
        text = json.dumps({"Timestamp": int(time.time()), "MessageID": message_id, "MessageCode": code, "Data": data})
        body = b"MUXM" + text.encode()
        self.socket.sendall((len(body) + 2).to_bytes(2, "little") + body)
        return message_id

    def ask(self, code, data):
        """Sends a request and returns its answer; events that come before it are kept for next_event()."""
        message_id = self.send(code, data)
        end = time.monotonic() + TIMEOUT
        while True:
            message = self.receive(end)
            if message["MessageCode"] in EVENTS:
                self.events.append(message)
            elif message["MessageID"] == message_id:
                return message

    def next_event(self):
        """Waits for the next event, as long as it takes."""
        while not self.events:
            message = self.receive(None)
            if message["MessageCode"] in EVENTS:
                self.events.append(message)
        return self.events.pop(0)

    def receive(self, end):
        """The next message; `end` is when to give up, or None."""
        while True:
            message = self.cut()
            if message is not None:
                return message
            self.socket.settimeout(None if end is None else max(end - time.monotonic(), 0.001))
            piece = self.socket.recv(4096)
            if not piece:
                raise ConnectionError("the Mux has closed the connection")
            self.received += piece

    def cut(self):
        """Takes the first whole JSON object out of what was received; None as long as its end has not come."""
        try:
            text = self.received.decode()
            message, end = json.JSONDecoder().raw_decode(text)
        except ValueError:
            return None
        self.received = text[end:].encode()
        return message


def main():
    parser = argparse.ArgumentParser(description="Open a lock and print events")
    parser.add_argument("--host", default="127.0.0.1")
    parser.add_argument("--port", type=int, default=5555)
    parser.add_argument("--gateway", type=int, required=True)
    parser.add_argument("--lock", type=int, required=True)
    parser.add_argument("--events", type=int, default=0, help="Number of events to wait for")
    options = parser.parse_args()
    try:
        client = MuxClient(options.host, options.port)
        answer = client.ask(LOCK_OPEN, {"gatewayID": options.gateway, "lockID": options.lock})
        print("ACK" if answer["MessageCode"] == ACK else "NACK", json.dumps(answer["Data"]), flush=True)
        for _ in range(options.events):
            event = client.next_event()
            print(EVENTS[event["MessageCode"]], json.dumps(event["Data"]), flush=True)
    except OSError as error:
        print(f"No answer from the Mux: {error}", file=sys.stderr)
        return 2
    return 0 if answer["MessageCode"] == ACK else 1


if __name__ == "__main__":
    sys.exit(main())
