"""One connection to the Mux, from connecting to its end."""

from __future__ import annotations

import asyncio
import dataclasses
import logging
import socket
import ssl
import uuid
from collections.abc import Callable

from ._parsing import parse
from ._stream import MessageSplitter, packet
from .errors import ConnectionLost, MuxError, NoAnswer
from .messages import Answer, ReaderEvent
from .requests import Request

logger = logging.getLogger("dwmux")

PIECE = 65536

# As in Linux; not every type checker knows that of the module "socket".
TCP_USER_TIMEOUT = 18

# A host that is gone without a word is noticed within 30 s: by unanswered keep-alives when the connection is idle,
# otherwise by data that is not acknowledged.
SOCKET_OPTIONS = (
    (socket.SOL_SOCKET, socket.SO_KEEPALIVE, 1),
    (socket.IPPROTO_TCP, socket.TCP_KEEPIDLE, 15),
    (socket.IPPROTO_TCP, socket.TCP_KEEPINTVL, 5),
    (socket.IPPROTO_TCP, socket.TCP_KEEPCNT, 3),
    (socket.IPPROTO_TCP, TCP_USER_TIMEOUT, 30_000),
)

# The end of a request. An error is a value here, because nobody may be left to take an exception.
Outcome = Answer | MuxError


@dataclasses.dataclass(frozen=True, slots=True)
class Address:
    """Where the Mux listens, and the TLS with which it is reached."""

    host: str
    port: int
    tls: ssl.SSLContext | None = None
    server_hostname: str | None = None

    def __str__(self) -> str:
        return f"[{self.host}]:{self.port}" if ":" in self.host else f"{self.host}:{self.port}"


class Connection:
    """Sends requests, and gives each its answer by identifier. Used on the thread of the event loop."""

    def __init__(self, address: Address, reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
        self._address = address
        self._reader = reader
        self._writer = writer
        self._waiting: dict[str, asyncio.Future[Outcome]] = {}

    @classmethod
    async def open(cls, address: Address, timeout: float) -> Connection:
        """Connects. Raises OSError, which a time-out is too."""
        async with asyncio.timeout(timeout):
            reader, writer = await asyncio.open_connection(
                address.host, address.port, ssl=address.tls, server_hostname=address.server_hostname
            )
        connected: socket.socket = writer.get_extra_info("socket")
        for level, option, value in SOCKET_OPTIONS:
            connected.setsockopt(level, option, value)
        return cls(address, reader, writer)

    def send(self, request: Request, timeout: float) -> asyncio.Future[Outcome]:
        """Sends a request once, with an identifier of its own; the future gets its outcome."""
        message_id = str(uuid.uuid4())
        loop = asyncio.get_running_loop()
        outcome: asyncio.Future[Outcome] = loop.create_future()
        timer = loop.call_later(timeout, self._settle, message_id, NoAnswer(f"no answer within {timeout:g} s"))
        outcome.add_done_callback(lambda _: timer.cancel())
        self._waiting[message_id] = outcome
        self._writer.write(packet(request.text(message_id)))
        return outcome

    async def receive(self, deliver: Callable[[ReaderEvent], None]) -> None:
        """Settles requests and delivers events until the connection ends. Raises OSError or ProtocolError."""
        splitter = MessageSplitter()
        while received := await self._reader.read(PIECE):
            for text in splitter.feed(received):
                message = parse(text)
                if isinstance(message, Answer):
                    self._settle(message.message_id, message)
                elif message is not None:
                    deliver(message)

    def fail(self, error: ConnectionLost) -> None:
        """Ends all requests that wait."""
        for message_id in list(self._waiting):
            self._settle(message_id, type(error)(str(error)))

    async def close(self) -> None:
        """Closes the connection, in a second at most."""
        self._writer.close()
        try:
            async with asyncio.timeout(1):
                await self._writer.wait_closed()
        except OSError as error:
            logger.debug("%s: closing: %s", self._address, error)
        finally:
            self._writer.transport.abort()

    def _settle(self, message_id: str, outcome: Outcome) -> None:
        """An answer whose request was given up has nobody who may take it for his own."""
        waiting = self._waiting.pop(message_id, None)
        if waiting is None:
            logger.info("%s: dropped an answer that came too late", self._address)
        else:
            waiting.set_result(outcome)
