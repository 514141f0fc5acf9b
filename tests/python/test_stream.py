"""Packets to the Mux and the stream of messages from it."""

import re
import unittest

import support
from dwmux import ProtocolError
from dwmux._stream import LONGEST_MESSAGE, MessageSplitter, packet


def split(*pieces):
    splitter = MessageSplitter()
    return [message for piece in pieces for message in splitter.feed(piece)]


class PacketTest(unittest.TestCase):
    def test_a_packet_is_that_of_the_protocol(self):
        text = dict(support.examples("request"))["first"]
        expected = re.search(r"```hex packet first\n(.*?)```", support.PROTOCOL, re.DOTALL)[1]
        self.assertEqual(packet(text), bytes.fromhex(expected))

    def test_the_length_counts_bytes(self):
        self.assertEqual(packet("é"), b"\x08\x00MUXM\xc3\xa9")


class MessageSplitterTest(unittest.TestCase):
    TEXTS = [b'{"a":{"b":{}}}', b'{"c":"}{"}', b'{"d":"\\"}{"}', b'{"e":"\\\\"}']

    def test_messages_may_come_together(self):
        self.assertEqual(split(b"".join(self.TEXTS)), self.TEXTS)

    def test_messages_may_come_in_single_bytes(self):
        self.assertEqual(split(*(bytes([byte]) for byte in b"".join(self.TEXTS))), self.TEXTS)

    def test_white_space_between_messages_is_skipped(self):
        self.assertEqual(split(b" {}\r", b"\n\t{} "), [b"{}", b"{}"])

    def test_what_comes_before_other_bytes_is_still_a_message(self):
        messages = MessageSplitter().feed(b"{}HTTP/1.1")
        self.assertEqual(next(messages), b"{}")
        self.assertRaises(ProtocolError, next, messages)

    def test_another_peer_cannot_fill_the_memory(self):
        with self.assertRaises(ProtocolError):
            split(b"{", b"x" * LONGEST_MESSAGE)


if __name__ == "__main__":
    unittest.main()
