"""When to try again after a connection was lost."""

from __future__ import annotations

import random
import time
from collections.abc import Callable

FIRST_DELAY = 0.5
# A connection that lasted so long was a good one.
GOOD_CONNECTION = 10.0


class ReconnectDelays:
    """Delays that double up to the longest, scattered so that the clients of a Mux do not all return at once."""

    def __init__(self, longest: float, clock: Callable[[], float] = time.monotonic) -> None:
        self._longest = longest
        self._clock = clock
        self._delay = 0.0
        self._connected_since: float | None = None

    def connected(self) -> None:
        """There is a connection."""
        self._connected_since = self._clock()

    def next(self) -> float:
        """The delay before the next attempt, in seconds. It begins anew after a connection that lasted."""
        since, self._connected_since = self._connected_since, None
        if since is not None and self._clock() - since >= GOOD_CONNECTION:
            self._delay = 0.0
        self._delay = min(max(2 * self._delay, FIRST_DELAY), self._longest)
        return random.uniform(0.5, 1.0) * self._delay
