"""The client for programs with threads: an AsyncClient on a thread of its own."""

from __future__ import annotations

import asyncio
import atexit
import ssl
import threading
import types
from collections.abc import Callable, Coroutine, Iterator
from typing import Any, Self, TypeVar

from ._async_client import AsyncClient
from ._event_stream import EventStream
from .errors import NotSent
from .messages import Answer, Happening, LockStatus
from .requests import Card, Request
from .timeouts import Timeouts

T = TypeVar("T")


class Client:
    """Client of the Mux:

        with dwmux.Client("127.0.0.1", 5555) as mux:
            mux.open_lock(gateway=1, lock=5)

    All methods may be called from any thread, also at the same time: requests to different gateways run in parallel,
    those to one gateway one after the other. A lost connection is made anew; the requests under way then end in
    ConnectionLost, those that wait are sent later. A thread of the client receives, so that the program may take its
    time. Create the client after a fork.

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
        self._make_client: Callable[[], AsyncClient] = lambda: AsyncClient(
            host, port, tls=tls, server_hostname=server_hostname, timeouts=timeouts
        )
        self._thread: _LoopThread | None = None
        self._client: AsyncClient | None = None

    def __enter__(self) -> Self:
        self.connect()
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: types.TracebackType | None,
    ) -> None:
        self.close()

    def connect(self, *, wait: bool = True) -> None:
        """Connects and stays connected until close(). Raises CannotConnect if the first attempt fails.

        With `wait=False` it returns at once and tries until there is a Mux.
        """
        if self._thread is not None:
            raise RuntimeError("connect() may be called once")
        self._thread = _LoopThread()
        self._client = self._make_client()
        # A loop that runs on while the interpreter ends complains of its tasks.
        atexit.register(self.close)
        try:
            self._thread.run(self._client.connect(wait=wait))
        except BaseException:
            self.close()
            raise

    def close(self) -> None:
        """Closes the connection. Requests under way end in ConnectionLost, others in NotSent, event iterators end."""
        if self._thread is not None and self._client is not None:
            self._thread.stop(self._client.close())
        atexit.unregister(self.close)

    def open_lock(self, gateway: int, lock: int, *, for_event: bool = False) -> None:
        """Opens a lock until it is closed. With `for_event` it answers a CardPresented, as in the methods below."""
        self._call(lambda client: client.open_lock(gateway, lock, for_event=for_event))

    def close_lock(self, gateway: int, lock: int, *, for_event: bool = False) -> None:
        """Closes a lock."""
        self._call(lambda client: client.close_lock(gateway, lock, for_event=for_event))

    def open_close_lock(self, gateway: int, lock: int, duration: int, *, for_event: bool = False) -> None:
        """Opens a lock and closes it after a duration of 1 to 255, usually seconds."""
        self._call(lambda client: client.open_close_lock(gateway, lock, duration, for_event=for_event))

    def deny_access(self, gateway: int, lock: int, *, for_event: bool = False) -> None:
        """Signals at a lock that access is denied."""
        self._call(lambda client: client.deny_access(gateway, lock, for_event=for_event))

    def status(self, gateway: int, lock: int) -> LockStatus:
        """Reads the status of a lock."""
        return self._call(lambda client: client.status(gateway, lock))

    def add_card(self, gateway: int, lock: int, card: Card) -> None:
        """Adds a card to the whitelist of a lock."""
        self._call(lambda client: client.add_card(gateway, lock, card))

    def remove_card(self, gateway: int, lock: int, card: Card) -> None:
        """Removes a card from the whitelist of a lock."""
        self._call(lambda client: client.remove_card(gateway, lock, card))

    def clear_whitelist(self, gateway: int, lock: int) -> None:
        """Removes all cards from the whitelist of a lock."""
        self._call(lambda client: client.clear_whitelist(gateway, lock))

    def enable_whitelist(self, gateway: int, lock: int) -> None:
        """Lets a lock admit the cards of its whitelist by itself."""
        self._call(lambda client: client.enable_whitelist(gateway, lock))

    def disable_whitelist(self, gateway: int, lock: int) -> None:
        """Lets a lock ignore its whitelist."""
        self._call(lambda client: client.disable_whitelist(gateway, lock))

    def ask(self, request: Request) -> Answer:
        """Sends any request, once, and returns its ACK. Raises Refused, NotSent, NoAnswer or ConnectionLost."""
        return self._call(lambda client: client.ask(request))

    def events(self, *, limit: int = 10_000) -> Events:
        """An iterator over events from now on.

        After a lost connection it goes on with a Reconnected. It keeps `limit` events for the program and then drops
        the oldest ones, which it reports by EventsDropped.
        """

        async def make(client: AsyncClient) -> EventStream:
            return client.events(limit=limit)

        return Events(self._call(make), self._call_stream)

    def _call(self, make: Callable[[AsyncClient], Coroutine[Any, Any, T]]) -> T:
        if self._thread is None or self._client is None:
            raise NotSent("connect() was not called")
        return self._thread.run(make(self._client))

    def _call_stream(self, coroutine: Coroutine[Any, Any, Happening | None]) -> Happening | None:
        assert self._thread is not None
        try:
            return self._thread.run(coroutine)
        except NotSent:
            return None


class Events(Iterator[Happening]):
    """Iterator over events, from Client.events(). It ends when the client is closed. For one thread at a time."""

    def __init__(
        self, stream: EventStream, run: Callable[[Coroutine[Any, Any, Happening | None]], Happening | None]
    ) -> None:
        self._stream = stream
        self._run = run

    def __iter__(self) -> Events:
        return self

    def __next__(self) -> Happening:
        happening = self._run(self._stream.next())
        if happening is None:
            raise StopIteration
        return happening

    def next(self, timeout: float) -> Happening | None:
        """Waits for the next one for some seconds; None at the end. Raises TimeoutError when there is none in time."""

        async def wait() -> Happening | None:
            async with asyncio.timeout(timeout):
                return await self._stream.next()

        return self._run(wait())


class _LoopThread:
    """A thread that runs an event loop."""

    def __init__(self) -> None:
        self._guard = threading.Lock()
        self._stopped = False
        self._loop = asyncio.new_event_loop()
        self._thread = threading.Thread(target=self._loop.run_forever, name="dwmux", daemon=True)
        self._thread.start()

    def run(self, coroutine: Coroutine[Any, Any, T]) -> T:
        """Runs a coroutine on the loop. Raises NotSent behind stop()."""
        with self._guard:
            if self._stopped:
                coroutine.close()
                raise NotSent("the client is closed")
            result = asyncio.run_coroutine_threadsafe(coroutine, self._loop)
        try:
            return result.result()
        except BaseException:
            result.cancel()
            raise

    def stop(self, last: Coroutine[Any, Any, None]) -> None:
        """Runs a last coroutine and those that end by it, then ends the thread. Only the first call does anything."""
        with self._guard:
            if self._stopped:
                last.close()
                return
            self._stopped = True
            stopped = asyncio.run_coroutine_threadsafe(self._end(last), self._loop)
        stopped.result()
        self._loop.call_soon_threadsafe(self._loop.stop)
        self._thread.join()
        self._loop.close()

    @staticmethod
    async def _end(last: Coroutine[Any, Any, None]) -> None:
        await last
        others = asyncio.all_tasks() - {asyncio.current_task()}
        if others:
            await asyncio.wait(others)
