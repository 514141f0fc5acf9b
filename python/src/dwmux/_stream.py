"""The two directions of a connection to the Mux: packets there, bare JSON objects back."""

from __future__ import annotations

import re
from collections.abc import Iterator

from .errors import ProtocolError

# Far more than any message of the Mux; keeps another peer from filling the memory.
LONGEST_MESSAGE = 1 << 20


def packet(text: str) -> bytes:
    """The packet of a JSON text: two bytes with the length of the whole, low byte first, "MUXM", the text."""
    body = b"MUXM" + text.encode()
    return (len(body) + 2).to_bytes(2, "little") + body


class MessageSplitter:
    """Splits received bytes into messages. These follow one another without a separator, so braces are counted.

    Each byte is examined once, however small the pieces are.
    """

    _OUTSIDE = re.compile(rb'["{}]')
    _IN_STRING = re.compile(rb'["\\]')

    def __init__(self) -> None:
        self._buffer = bytearray()
        self._position = 0
        self._depth = 0
        self._in_string = False

    def feed(self, received: bytes) -> Iterator[bytes]:
        """Takes bytes and yields each message that is whole. Raises ProtocolError if they are not of a Mux."""
        self._buffer += received
        while self._begins() and self._follow():
            yield bytes(self._buffer[: self._position])
            del self._buffer[: self._position]
            self._position = 0
        if len(self._buffer) > LONGEST_MESSAGE:
            raise ProtocolError(f"a message of more than {LONGEST_MESSAGE} bytes is not of a Mux")

    def _begins(self) -> bool:
        """Whether the buffer has the beginning of a message."""
        if self._position == 0:
            self._buffer = self._buffer.lstrip(b" \t\r\n")
            if self._buffer and not self._buffer.startswith(b"{"):
                raise ProtocolError(f"not a message of a Mux: {bytes(self._buffer[:40])!r}")
        return bool(self._buffer)

    def _follow(self) -> bool:
        """Goes on to the end of the message, or of the buffer; whether the message is whole."""
        while True:
            pattern = self._IN_STRING if self._in_string else self._OUTSIDE
            found = pattern.search(self._buffer, self._position)
            if found is None:
                # Behind a backslash the position may already be one further.
                self._position = max(self._position, len(self._buffer))
                return False
            self._position = found.end()
            self._count(found.group())
            if self._depth == 0:
                return True

    def _count(self, character: bytes) -> None:
        if character == b"\\":
            self._position += 1
        elif character == b'"':
            self._in_string = not self._in_string
        else:
            self._depth += 1 if character == b"{" else -1
