"""Client of the Mux, a multiplexer daemon for electronic door locks.

Client serves programs with threads, AsyncClient serves programs with asyncio:

    import dwmux

    with dwmux.Client("127.0.0.1", 5555) as mux:
        mux.open_lock(gateway=1, lock=5)
        print(mux.status(gateway=1, lock=5))
        for event in mux.events():
            match event:
                case dwmux.CardPresented(gateway=gateway, lock=lock, card="04A1B2C3"):
                    mux.open_close_lock(gateway, lock, duration=5, for_event=True)

Both send one request at a time to each gateway and let the others wait, give up after 15 seconds (21 with TLS), never send
a request twice and reconnect by themselves. Each method that operates a lock either returns, which means that the gateway has
executed the request, or raises:

    Refused           the Mux or the gateway refused it
    NotSent           it was not sent: it may be repeated
    NoAnswer          sent, but there is no answer: IT MAY HAVE BEEN EXECUTED. Repeat only what may happen twice;
                      the status of a lock does not tell whether it is open
    ConnectionLost    a NoAnswer because the connection broke

All of these, and CannotConnect, are MuxErrors. Values that cannot be sent raise ValueError or TypeError.
"""

import logging

from ._async_client import AsyncClient
from ._client import Client, Events
from ._event_stream import EventStream
from .errors import CannotConnect, ConnectionLost, MuxError, NoAnswer, NotSent, ProtocolError, Refused
from .messages import (
    Answer,
    CardAdmitted,
    CardPresented,
    Event,
    EventsDropped,
    Happening,
    LockStatus,
    PinEntered,
    Reconnected,
)
from .requests import Card, Operation, Request
from .signing import sign_command
from .timeouts import Timeouts

# A program that wants to see reconnections configures the logger "dwmux".
logging.getLogger("dwmux").addHandler(logging.NullHandler())

__version__ = "2.18.1"

__all__ = [
    "Answer",
    "AsyncClient",
    "CannotConnect",
    "Card",
    "CardAdmitted",
    "CardPresented",
    "Client",
    "ConnectionLost",
    "Event",
    "EventStream",
    "Events",
    "EventsDropped",
    "Happening",
    "LockStatus",
    "MuxError",
    "NoAnswer",
    "NotSent",
    "Operation",
    "PinEntered",
    "ProtocolError",
    "Reconnected",
    "Refused",
    "Request",
    "Timeouts",
    "sign_command",
]
