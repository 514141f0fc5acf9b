"""Bytes that nobody should send: whatever they are, the dissector shows them without an error of its own."""
import random
import unittest

from capture import Capture
from dissection import DissectorTest, main
from frames import frame, message, packet

SEED, STREAMS = 20240101, 300
LOCK = {"gatewayID": 1, "lockID": 5}

# Port, whether toward the server, and what is sound before it is spoiled.
SOUND = [
    (2101, True, frame(0x03, bytes.fromhex("00 01 04 C3 B2 A1 04")) + frame(0x8A, bytes(4))),
    (2101, False, frame(0x00, bytes.fromhex("07 00 00 01 00")) + frame(0x01, bytes(7)) + frame(0x16, bytes(8))),
    (5555, True, packet(message(13, "a\u00e9\n1", {**LOCK, "duration": 44})) + packet(message(12, "b", LOCK))),
    (5555, False, (message(1, "a1", {"ErrorCode": -1, "Message": "\"\\"}) + message(0, "b", {})).encode()),
]


def spoil(chance, stream):
    """The stream with a few bytes changed, put in, taken away, and sometimes its end."""
    spoiled = bytearray(stream)
    for _ in range(chance.randrange(1, 6)):
        place = chance.randrange(len(spoiled))
        spoiled[place:place + chance.randrange(3)] = chance.choice(
            [b"", bytes([chance.randrange(256)]), b"\0", b"\xfe\xfd", b'"', b"{", b"\\u", b"9", chance.randbytes(5)])
        spoiled = spoiled or bytearray(b"?")
    return bytes(spoiled[:chance.randrange(1, len(spoiled) + 1)] if chance.random() < 0.2 else spoiled)


class HostileBytes(DissectorTest):
    """Spoiled streams, each on a connection of its own and in two segments."""

    def test_spoiled_streams_are_shown_without_an_error_of_the_dissector(self):
        chance, capture = random.Random(SEED), Capture()
        for _ in range(STREAMS):
            port, to_server, sound = chance.choice(SOUND)
            connection = capture.connection(port)
            send = connection.to_server if to_server else connection.from_server
            stream = spoil(chance, sound)
            cut = chance.randrange(len(stream) + 1)
            for segment in filter(None, (stream[:cut], stream[cut:])):
                send(segment)
        remarks = [row["_ws.expert.message"] for row in self.rows(capture, ["_ws.expert.message", "frame.number"])]
        self.assertEqual(len(remarks), len(capture.packets))
        self.assertEqual([remark for remark in remarks if "Lua" in remark], [])
        self.assertGreater(len(set(remarks)), 5)


if __name__ == "__main__":
    main()
