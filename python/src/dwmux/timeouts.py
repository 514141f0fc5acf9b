"""How long a client waits."""

from __future__ import annotations

import dataclasses


@dataclasses.dataclass(frozen=True, slots=True)
class Timeouts:
    """Times in seconds.

    connect      for one attempt to connect, TLS included
    start        for a request's turn at its gateway and for a connection; then NotSent. A door that opens a minute
                 late may open for somebody else. None waits without limit
    answer       for the answer to a request that was sent; then NoAnswer. An answer may take 12 s with a gateway that
                 is well. From 18 s on it may be the answer to another request. None is 15 s, with TLS 21 s, since
                 mux-proxy may hold a request back for 5 s and then answers within 15 s
    reconnect    longest delay between two attempts to reconnect
    """

    connect: float = 10.0
    start: float | None = 30.0
    answer: float | None = None
    reconnect: float = 30.0

    def __post_init__(self) -> None:
        for field in dataclasses.fields(self):
            value = getattr(self, field.name)
            if value is not None and not value > 0:
                raise ValueError(f"{field.name}: {value!r} is not a positive number of seconds")

    def answer_for(self, *, with_tls: bool) -> float:
        """The time for an answer on a connection of this kind."""
        if self.answer is not None:
            return self.answer
        return 21.0 if with_tls else 15.0
