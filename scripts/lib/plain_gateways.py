"""Many gateways in one thread that do next to nothing: they answer every request with "no route" and raise events as
fast as the Mux takes them up one by one."""
import binascii
import selectors
import socket
import struct
import threading
import time

CARD_EVENT = 0x0E
NO_ROUTE = b"\x08"
RESPONSE = 0x00
REFERENCE_ID_OFFSET = 7

# The Mux takes a frame up every 300 ms. Two of them in one piece would keep it waiting.
EVENT_PERIOD = 0.35


def frame(code, payload, reference_id=0, address=5):
    head = bytes([len(payload) + 19, 0xFE, 0xFD, len(payload) + 14, 1, 0, 0, reference_id])
    body = head + struct.pack(">II", 0, address) + bytes([code]) + payload
    return body + struct.pack(">H", binascii.crc_hqx(body, 0))


class PlainGateways(threading.Thread):
    """Listens on `count` ports of its own."""

    def __init__(self, count):
        super().__init__(daemon=True)
        self.listeners = [socket.create_server(("127.0.0.1", 0)) for _ in range(count)]
        self.selector = selectors.DefaultSelector()
        self.connections = []
        self.requests = 0
        self.raised = 0
        self.left = 0
        self.next_event = 0.0
        for listener in self.listeners:
            self.selector.register(listener, selectors.EVENT_READ)

    def configuration(self):
        return [{"ID": number, "Description": "", "IpAddress": "127.0.0.1", "Port": listener.getsockname()[1],
                 "Devices": []} for number, listener in enumerate(self.listeners, 1)]

    def raise_events(self, number):
        self.raised, self.left = 0, number

    def run(self):
        while True:
            for key, _ in self.selector.select(0.02):
                self.accept(key.fileobj) if key.fileobj in self.listeners else self.answer(key.fileobj)
            if self.left > 0 and time.monotonic() >= self.next_event:
                self.next_event = time.monotonic() + EVENT_PERIOD
                self.raise_one_each()

    def accept(self, listener):
        connection, _ = listener.accept()
        self.connections.append(connection)
        self.selector.register(connection, selectors.EVENT_READ)

    def answer(self, connection):
        request = connection.recv(4096)
        if request:
            self.requests += 1
            connection.sendall(frame(RESPONSE, NO_ROUTE, request[REFERENCE_ID_OFFSET]))
        else:
            self.selector.unregister(connection)
            self.connections.remove(connection)

    def raise_one_each(self):
        for connection in self.connections[:self.left]:
            card = struct.pack(">I", self.raised)
            connection.sendall(frame(CARD_EVENT, bytes(7) + bytes([len(card)]) + card))
            self.raised += 1
            self.left -= 1
