"""What a client may ask: requests that are checked when they are made.

The Mux ends for all its clients when a request has the wrong shape. A Request cannot have one.
"""

from __future__ import annotations

import dataclasses
import enum
import json
import re
import time

LONGEST_UID = 10
LONGEST_CARD_DATA = 233


class Operation(enum.IntEnum):
    """Codes of requests. Those from 110 on answer a CardPresented event."""

    OPEN = 10
    CLOSE = 11
    STATUS = 12
    OPEN_CLOSE = 13
    DENY_ACCESS = 14
    ADD_CARD = 21
    CLEAR_WHITELIST = 22
    ENABLE_WHITELIST = 23
    DISABLE_WHITELIST = 24
    REMOVE_CARD = 25
    EVENT_OPEN = 110
    EVENT_CLOSE = 111
    EVENT_OPEN_CLOSE = 113
    EVENT_DENY_ACCESS = 114

    @property
    def has_duration(self) -> bool:
        """Whether its requests have a duration."""
        return self in (Operation.OPEN_CLOSE, Operation.EVENT_OPEN_CLOSE)

    @property
    def has_card(self) -> bool:
        """Whether its requests have a card."""
        return self in (Operation.ADD_CARD, Operation.REMOVE_CARD)

    def for_event(self) -> Operation:
        """The same operation in answer to an event. Raises ValueError if there is none."""
        return Operation(self + 100)


@dataclasses.dataclass(frozen=True, slots=True)
class Card:
    """A card of a whitelist. Raises ValueError or TypeError if it cannot be one.

    data            bytes in hexadecimal, two digits each: at most 10 of a UID, 233 of other data
    is_uid          whether they are the UID. Other data reaches the lock from the last byte to the first
    setup_number    0 to 255, the setup of the lock that the card is for; must be 0 for a UID
    option          passed to the gateway when the card is added
    """

    data: str
    _: dataclasses.KW_ONLY
    is_uid: bool
    setup_number: int = 0
    option: bool = False

    def __post_init__(self) -> None:
        if not re.fullmatch("([0-9A-Fa-f]{2})+", self.data):
            raise ValueError(f"card: {self.data!r} is not hexadecimal with two digits per byte")
        longest = LONGEST_UID if self.is_uid else LONGEST_CARD_DATA
        if len(self.data) > 2 * longest:
            raise ValueError(f"card: {len(self.data) // 2} bytes, at most {longest} are possible")
        _check_integer("setup_number", self.setup_number, 0, 0 if self.is_uid else 255)

    def members(self) -> dict[str, object]:
        """The members of a request's data."""
        return {
            "cardData": self.data,
            "isUIDCard": bool(self.is_uid),
            "setupNumber": self.setup_number,
            "options": int(bool(self.option)),
        }


@dataclasses.dataclass(frozen=True, slots=True)
class Request:
    """A request for ask(). Raises ValueError or TypeError if it cannot be sent.

    gateway     its ID in the configuration of the Mux
    lock        device address, up to 4294967295
    duration    1 to 255, usually seconds; only for operations with a duration
    card        only for operations with a card
    """

    operation: Operation
    gateway: int
    lock: int
    duration: int | None = None
    card: Card | None = None

    def __post_init__(self) -> None:
        if not isinstance(self.operation, Operation):
            raise TypeError(f"operation: {self.operation!r} is not an Operation")
        _check_integer("gateway", self.gateway, -(2**31), 2**31 - 1)
        _check_integer("lock", self.lock, -(2**31), 2**32 - 1)
        if self.operation.has_duration:
            _check_integer("duration", self.duration, 1, 255)
        elif self.duration is not None:
            raise ValueError(f"{self.operation.name} has no duration")
        if self.operation.has_card != (self.card is not None):
            raise ValueError(f"{self.operation.name} {'needs' if self.operation.has_card else 'has no'} card")

    def text(self, message_id: str) -> str:
        """Its JSON text. The identifier must be unique among all clients of the Mux for all time."""
        data: dict[str, object] = {"gatewayID": self.gateway, "lockID": _as_signed(self.lock)}
        if self.duration is not None:
            data["duration"] = self.duration
        if self.card is not None:
            data |= self.card.members()
        message = {
            "Timestamp": int(time.time()),
            "MessageID": message_id,
            "MessageCode": int(self.operation),
            "Data": data,
        }
        return json.dumps(message, separators=(",", ":"))


def _as_signed(address: int) -> int:
    """The Mux reads a 32-bit integer: addresses above its range are sent as negative numbers."""
    return address - 2**32 if address >= 2**31 else address


# A boolean is an int in Python, but not in JSON.
def _check_integer(name: str, value: object, least: int, greatest: int) -> None:
    if isinstance(value, bool) or not isinstance(value, int):
        raise TypeError(f"{name}: {value!r} is not an integer")
    if not least <= value <= greatest:
        raise ValueError(f"{name}: {value} is not from {least} to {greatest}")
