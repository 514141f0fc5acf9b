"""Captures that a test writes itself: TCP segments as a hex dump, made into a capture file by text2pcap."""
import datetime
import struct
import subprocess

START = datetime.datetime(2024, 1, 1)
CLIENT_ADDRESS, SERVER_ADDRESS = bytes([192, 0, 2, 1]), bytes([192, 0, 2, 2])
ETHERNET = bytes(12) + struct.pack(">H", 0x0800)
PUSH_AND_ACK = 0x18


class Connection:
    """A TCP connection whose server listens on `port`."""

    def __init__(self, capture, port, client_port):
        self.capture, self.port, self.client_port = capture, port, client_port
        self.next = {"to": 1000, "from": 2000}

    def to_server(self, payload, at=None):
        self._add("to", "from", (CLIENT_ADDRESS, self.client_port), (SERVER_ADDRESS, self.port), payload, at)

    def from_server(self, payload, at=None):
        self._add("from", "to", (SERVER_ADDRESS, self.port), (CLIENT_ADDRESS, self.client_port), payload, at)

    # Checksums stay 0: Wireshark does not check those of IP and TCP unless it is told to.
    def _add(self, way, other_way, source, destination, payload, at):
        tcp = struct.pack(">HHIIBBHHH", source[1], destination[1], self.next[way], self.next[other_way], 5 << 4,
                          PUSH_AND_ACK, 65535, 0, 0)
        ip = struct.pack(">BBHHHBBH", 0x45, 0, 20 + len(tcp) + len(payload), 0, 0, 64, 6, 0)
        self.next[way] += len(payload)
        self.capture.add(ETHERNET + ip + source[0] + destination[0] + tcp + payload, at)


class Capture:
    """Packets in the order of adding, `at` seconds from the start (one second apart if not said otherwise)."""

    def __init__(self):
        self.packets = []
        self.connections = 0

    def connection(self, port):
        self.connections += 1
        return Connection(self, port, 49152 + self.connections)

    def add(self, packet, at):
        self.packets.append((len(self.packets) if at is None else at, packet))

    def _dump(self):
        for at, packet in self.packets:
            yield (START + datetime.timedelta(seconds=at)).isoformat(sep=" ", timespec="microseconds")
            for offset in range(0, len(packet), 16):
                yield f"{offset:06x} {packet[offset:offset + 16].hex(' ')}"

    def write(self, path):
        dump = "\n".join(self._dump()) + "\n"
        subprocess.run(["text2pcap", "-q", "-t", "%Y-%m-%d %H:%M:%S.%f", "-", str(path)], input=dump, text=True,
                       check=True, stderr=subprocess.PIPE)
