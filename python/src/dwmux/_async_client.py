"""The client for programs with asyncio. It holds all behaviour; Client runs one on a thread."""

from __future__ import annotations

import asyncio
import logging
import ssl
import time
import types
import weakref
from typing import Self

from ._connection import Address, Connection, Outcome
from ._event_stream import EventStream
from ._parsing import lock_status
from ._reconnecting import ReconnectDelays
from .errors import CannotConnect, ConnectionLost, MuxError, NotSent, ProtocolError, error_of
from .messages import Answer, LockStatus, ReaderEvent, Reconnected
from .requests import Card, Operation, Request
from .timeouts import Timeouts

logger = logging.getLogger("dwmux")

# A Mux that has just started asks each gateway for its counter. A request before a slow gateway has told it is lost.
STARTING_MUX = 3.0


class AsyncClient:
    """Client of the Mux for programs with asyncio:

        async with dwmux.AsyncClient("127.0.0.1", 5555) as mux:
            await mux.open_lock(gateway=1, lock=5)

    Requests may be made at the same time: those to different gateways run in parallel, those to one gateway one after
    the other. A lost connection is made anew; the requests under way then end in ConnectionLost, those that wait are
    sent later. All methods belong to one event loop. A request whose task is cancelled is not taken back: the next one
    to its gateway waits for its answer all the same.

    `tls` is for a Mux behind mux-proxy or another TLS entrance; `server_hostname` is the name in its certificate, by
    default the host.
    """

    def __init__(
        self,
        host: str = "127.0.0.1",
        port: int = 5555,
        *,
        tls: ssl.SSLContext | None = None,
        server_hostname: str | None = None,
        timeouts: Timeouts = Timeouts(),
    ) -> None:
        self._address = Address(host, port, tls, server_hostname)
        self._timeouts = timeouts
        self._answer_timeout = timeouts.answer_for(with_tls=tls is not None)
        self._connection: Connection | None = None
        # Set while there is a connection, and when there will never be one again.
        self._settled = asyncio.Event()
        self._closed = False
        self._trouble = "connect() was not called"
        self._keeper: asyncio.Task[None] | None = None
        # A lock lives as long as somebody has or awaits a turn at its gateway.
        self._turns: weakref.WeakValueDictionary[int, asyncio.Lock] = weakref.WeakValueDictionary()
        # A stream that the program has dropped gets no more events.
        self._streams: list[weakref.ref[EventStream]] = []

    async def __aenter__(self) -> Self:
        await self.connect()
        return self

    async def __aexit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: types.TracebackType | None,
    ) -> None:
        await self.close()

    async def connect(self, *, wait: bool = True) -> None:
        """Connects and stays connected until close(). Raises CannotConnect if the first attempt fails.

        With `wait=False` it returns at once and tries until there is a Mux.
        """
        if self._keeper is not None or self._closed:
            raise RuntimeError("connect() may be called once")
        first: asyncio.Future[Connection] | None = asyncio.get_running_loop().create_future() if wait else None
        self._trouble = f"not yet connected to {self._address}"
        self._keeper = asyncio.create_task(self._keep_connected(first), name=f"dwmux {self._address}")
        if first is not None:
            try:
                await first
            except BaseException:
                await self.close()
                raise

    async def close(self) -> None:
        """Closes the connection. Requests under way end in ConnectionLost, others in NotSent, event streams end."""
        self._closed = True
        self._trouble = "the client is closed"
        if self._keeper is not None:
            self._keeper.cancel()
            await asyncio.wait([self._keeper])
        self._settled.set()
        for stream in self._live_streams():
            stream._end()

    async def open_lock(self, gateway: int, lock: int, *, for_event: bool = False) -> None:
        """Opens a lock until it is closed. With `for_event` it answers a CardPresented, as in the methods below."""
        await self._operate(Operation.OPEN, gateway, lock, for_event=for_event)

    async def close_lock(self, gateway: int, lock: int, *, for_event: bool = False) -> None:
        """Closes a lock."""
        await self._operate(Operation.CLOSE, gateway, lock, for_event=for_event)

    async def open_close_lock(self, gateway: int, lock: int, duration: int, *, for_event: bool = False) -> None:
        """Opens a lock and closes it after a duration of 1 to 255, usually seconds."""
        await self._operate(Operation.OPEN_CLOSE, gateway, lock, duration, for_event=for_event)

    async def deny_access(self, gateway: int, lock: int, *, for_event: bool = False) -> None:
        """Signals at a lock that access is denied."""
        await self._operate(Operation.DENY_ACCESS, gateway, lock, for_event=for_event)

    async def status(self, gateway: int, lock: int) -> LockStatus:
        """Reads the status of a lock."""
        return lock_status(await self.ask(Request(Operation.STATUS, gateway, lock)))

    async def add_card(self, gateway: int, lock: int, card: Card) -> None:
        """Adds a card to the whitelist of a lock."""
        await self.ask(Request(Operation.ADD_CARD, gateway, lock, card=card))

    async def remove_card(self, gateway: int, lock: int, card: Card) -> None:
        """Removes a card from the whitelist of a lock."""
        await self.ask(Request(Operation.REMOVE_CARD, gateway, lock, card=card))

    async def clear_whitelist(self, gateway: int, lock: int) -> None:
        """Removes all cards from the whitelist of a lock."""
        await self.ask(Request(Operation.CLEAR_WHITELIST, gateway, lock))

    async def enable_whitelist(self, gateway: int, lock: int) -> None:
        """Lets a lock admit the cards of its whitelist by itself."""
        await self.ask(Request(Operation.ENABLE_WHITELIST, gateway, lock))

    async def disable_whitelist(self, gateway: int, lock: int) -> None:
        """Lets a lock ignore its whitelist."""
        await self.ask(Request(Operation.DISABLE_WHITELIST, gateway, lock))

    async def ask(self, request: Request) -> Answer:
        """Sends any request, once, and returns its ACK. Raises Refused, NotSent, NoAnswer or ConnectionLost."""
        outcome = await asyncio.shield(await self._send(request))
        if isinstance(outcome, MuxError):
            raise outcome
        if not outcome.accepted:
            raise error_of(outcome)
        return outcome

    def events(self, *, limit: int = 10_000) -> EventStream:
        """An asynchronous iterator over events from now on.

        After a lost connection it goes on with a Reconnected. It keeps `limit` events for the program and then drops
        the oldest ones, which it reports by EventsDropped.
        """
        stream = EventStream(limit)
        if self._closed:
            stream._end()
        self._streams.append(weakref.ref(stream))
        return stream

    async def _operate(
        self, operation: Operation, gateway: int, lock: int, duration: int | None = None, *, for_event: bool
    ) -> None:
        await self.ask(Request(operation.for_event() if for_event else operation, gateway, lock, duration))

    async def _send(self, request: Request) -> asyncio.Future[Outcome]:
        """Sends a request when it has its turn, which it keeps until its outcome."""
        turn = self._turns.setdefault(request.gateway, asyncio.Lock())
        try:
            async with asyncio.timeout(self._timeouts.start):
                connection = await self._take_turn(turn)
        except TimeoutError:
            trouble = self._trouble or f"gateway {request.gateway} is busy"
            raise NotSent(f"not sent within {self._timeouts.start:g} s: {trouble}") from None
        outcome = connection.send(request, self._answer_timeout)
        outcome.add_done_callback(lambda _: turn.release())
        return outcome

    async def _take_turn(self, turn: asyncio.Lock) -> Connection:
        """Returns with the turn, or raises without it."""
        await turn.acquire()
        try:
            return await self._get_connection()
        except BaseException:
            turn.release()
            raise

    async def _get_connection(self) -> Connection:
        while self._connection is None:
            if self._keeper is None or self._closed:
                raise NotSent(self._trouble)
            await self._settled.wait()
        return self._connection

    async def _keep_connected(self, first: asyncio.Future[Connection] | None) -> None:
        delays = ReconnectDelays(self._timeouts.reconnect)
        lost_at: float | None = None
        delay_of_requests = 0.0
        while True:
            connection = await self._try_to_connect(first)
            if connection is not None:
                delays.connected()
                if lost_at is not None:
                    self._deliver(Reconnected(time.monotonic() - lost_at))
                await self._use(connection, delay_of_requests)
                lost_at = time.monotonic()
            delay_of_requests = STARTING_MUX
            await asyncio.sleep(delays.next())

    async def _try_to_connect(self, first: asyncio.Future[Connection] | None) -> Connection | None:
        try:
            connection = await Connection.open(self._address, self._timeouts.connect)
        except (OSError, ValueError, OverflowError) as error:
            reason = str(error) or f"no connection within {self._timeouts.connect:g} s"
            self._trouble = f"cannot connect to {self._address}: {reason}"
            logger.info("%s", self._trouble)
            if first is not None and not first.done():
                failure = CannotConnect(self._trouble)
                failure.__cause__ = error
                first.set_exception(failure)
            return None
        if first is not None and not first.done():
            first.set_result(connection)
        return connection

    async def _use(self, connection: Connection, delay: float) -> None:
        """Keeps a connection until it ends. Requests are sent after the delay."""
        logger.info("connected to %s", self._address)
        start = asyncio.get_running_loop().call_later(delay, self._allow_requests, connection)
        error = ConnectionLost("the client is closed")
        try:
            error = await self._receive(connection)
        finally:
            start.cancel()
            self._forbid_requests(str(error))
            connection.fail(error)
            await connection.close()
        logger.warning("%s", error)

    def _allow_requests(self, connection: Connection) -> None:
        self._connection = connection
        self._trouble = ""
        self._settled.set()

    def _forbid_requests(self, trouble: str) -> None:
        self._connection = None
        self._settled.clear()
        if not self._closed:
            self._trouble = trouble

    async def _receive(self, connection: Connection) -> ConnectionLost:
        """Receives until the connection ends; returns why it did."""
        try:
            await connection.receive(self._deliver)
        except ProtocolError as error:
            return ProtocolError(f"{self._address}: {error}")
        except OSError as error:
            return ConnectionLost(f"lost the connection to {self._address}: {error}")
        return ConnectionLost(f"{self._address} has closed the connection")

    def _deliver(self, event: ReaderEvent | Reconnected) -> None:
        for stream in self._live_streams():
            stream._put(event)

    def _live_streams(self) -> list[EventStream]:
        streams = [stream for stream in (reference() for reference in self._streams) if stream is not None]
        self._streams = [weakref.ref(stream) for stream in streams]
        return streams
