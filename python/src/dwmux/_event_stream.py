"""Events on their way from a connection to the program."""

from __future__ import annotations

import asyncio
from collections import deque
from collections.abc import AsyncIterator

from .messages import EventsDropped, Happening, ReaderEvent, Reconnected


class EventStream(AsyncIterator[Happening]):
    """Asynchronous iterator over events, from AsyncClient.events(). It ends when the client is closed."""

    def __init__(self, limit: int) -> None:
        if limit < 1:
            raise ValueError(f"limit: {limit} is not positive")
        self._limit = limit
        self._kept: deque[ReaderEvent | Reconnected] = deque()
        self._dropped = 0
        self._ended = False
        self._changed = asyncio.Event()

    def __aiter__(self) -> EventStream:
        return self

    async def __anext__(self) -> Happening:
        happening = await self.next()
        if happening is None:
            raise StopAsyncIteration
        return happening

    async def next(self) -> Happening | None:
        """Waits for the next one; None at the end. Nothing is lost when it is cancelled."""
        while not (self._kept or self._dropped or self._ended):
            self._changed.clear()
            await self._changed.wait()
        if self._dropped:
            dropped, self._dropped = EventsDropped(self._dropped), 0
            return dropped
        return self._kept.popleft() if self._kept else None

    def _put(self, happening: ReaderEvent | Reconnected) -> None:
        if len(self._kept) == self._limit:
            self._kept.popleft()
            self._dropped += 1
        self._kept.append(happening)
        self._changed.set()

    def _end(self) -> None:
        self._ended = True
        self._changed.set()
