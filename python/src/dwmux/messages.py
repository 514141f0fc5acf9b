"""What the Mux sends: answers and events. All of these are immutable values."""

from __future__ import annotations

import dataclasses
import datetime


@dataclasses.dataclass(frozen=True, slots=True)
class Answer:
    """The answer to a request: an ACK if `accepted`, otherwise a NACK. `data` is the JSON object as it came."""

    message_id: str
    accepted: bool
    time: datetime.datetime
    data: dict[str, object]


@dataclasses.dataclass(frozen=True, slots=True)
class LockStatus:
    """The status of a lock. It does not tell whether the lock is open.

    battery_status    0 not available, 1 internal resistance too high, 2 medium, 3 full
    battery_level     0 below 80 %, 1 at least 80 %, 2 at least 90 %, 3 at least 95 %

    A status of only 0 and False may also mean that the gateway answered without a status.
    """

    battery_status: int
    battery_level: int
    mechanical_active: bool
    battery_warning: bool
    battery_alarm: bool
    scandinavian_fire_mode: bool
    reader_connected: bool


@dataclasses.dataclass(frozen=True, slots=True)
class Event:
    """What happened at a reader.

    lock          the low 16 bits of the lock's address
    time          when the Mux received it, in UTC
    local_time    the same by the Mux's local clock, such as "22:13:20 14-11-2023"
    """

    gateway: int
    lock: int
    time: datetime.datetime
    local_time: str


@dataclasses.dataclass(frozen=True, slots=True)
class CardPresented(Event):
    """A card was presented and the lock waits for a decision: answer with `for_event=True`.

    `card` has its bytes in upper-case hexadecimal and may be empty.
    """

    card: str


@dataclasses.dataclass(frozen=True, slots=True)
class CardAdmitted(Event):
    """A lock has admitted a card of its whitelist by itself."""

    card: str


@dataclasses.dataclass(frozen=True, slots=True)
class PinEntered(Event):
    """A PIN was entered. It is left out of repr(), so that it does not get into logs."""

    pin: str = dataclasses.field(repr=False)


@dataclasses.dataclass(frozen=True, slots=True)
class Reconnected:
    """The client has reconnected: events of the last `downtime` seconds are lost, as the Mux does not keep them."""

    downtime: float


@dataclasses.dataclass(frozen=True, slots=True)
class EventsDropped:
    """The program reads too slowly: the `count` events before the next one were dropped."""

    count: int


ReaderEvent = CardPresented | CardAdmitted | PinEntered
Happening = ReaderEvent | Reconnected | EventsDropped
