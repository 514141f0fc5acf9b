"""Turns JSON texts from the Mux into the values of `messages`."""

from __future__ import annotations

import datetime
import json
from collections.abc import Callable
from typing import TypeVar

from .errors import ProtocolError
from .messages import Answer, CardAdmitted, CardPresented, LockStatus, PinEntered, ReaderEvent

ACK, NACK = 0, 1

T = TypeVar("T")
Members = dict[str, object]


def parse(text: bytes) -> Answer | ReaderEvent | None:
    """Parses one message; None if it has a code that this version does not know. Raises ProtocolError."""
    try:
        message = json.loads(text.decode())
    except (ValueError, RecursionError) as error:
        raise ProtocolError(f"not a message of a Mux: {text[:40]!r}") from error
    code = member(message, "MessageCode", int)
    if code in (ACK, NACK):
        return Answer(member(message, "MessageID", str), code == ACK, _time_of(message), _data_of(message))
    make_event = EVENTS.get(code)
    return None if make_event is None else make_event(message)


def lock_status(answer: Answer) -> LockStatus:
    """The status in the answer to a status request. Raises ProtocolError."""
    data = answer.data
    return LockStatus(
        battery_status=member(data, "BatteryStatus", int),
        battery_level=member(data, "QoS", int),
        mechanical_active=member(data, "MechanicalActive", bool),
        battery_warning=member(data, "BatteryWarningLevel", bool),
        battery_alarm=member(data, "BatteryAlarmLevel", bool),
        scandinavian_fire_mode=member(data, "ScandinavianFireMode", bool),
        reader_connected=member(data, "ReaderConnected", bool),
    )


def member(members: Members, name: str, wanted: type[T]) -> T:
    """The member of this name. Its type must be exactly the wanted one: a boolean is not an integer."""
    value = members.get(name)
    if type(value) is not wanted:
        raise ProtocolError(f'not a message of a Mux: "{name}" is not of type {wanted.__name__}')
    return value


def _data_of(message: Members) -> Members:
    data = message.get("Data")
    if not isinstance(data, dict):
        raise ProtocolError('not a message of a Mux: "Data" is not an object')
    return data


def _time_of(message: Members) -> datetime.datetime:
    seconds = member(message, "Timestamp", int)
    try:
        return datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc)
    except (ValueError, OverflowError, OSError) as error:
        raise ProtocolError(f'not a message of a Mux: "Timestamp" is {seconds}') from error


def _place_of(message: Members) -> tuple[int, int, datetime.datetime, str]:
    data = _data_of(message)
    place = member(data, "gatewayID", int), member(data, "lockID", int)
    return *place, _time_of(message), member(data, "timestamp", str)


def _reader_data(message: Members) -> str:
    return member(_data_of(message), "RFIDData", str)


def _pin(message: Members) -> str:
    try:
        return bytes.fromhex(_reader_data(message)).decode("latin-1")
    except ValueError as error:
        raise ProtocolError("not a message of a Mux: the PIN is not hexadecimal") from error


EVENTS: dict[int, Callable[[Members], ReaderEvent]] = {
    50: lambda message: CardAdmitted(*_place_of(message), _reader_data(message)),
    51: lambda message: CardPresented(*_place_of(message), _reader_data(message)),
    60: lambda message: PinEntered(*_place_of(message), _pin(message)),
}
