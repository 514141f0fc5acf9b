"""What may go wrong. All errors are MuxErrors, whose text is readable by people."""

from __future__ import annotations

from .messages import Answer


class MuxError(Exception):
    """Base of all errors of this package."""


class CannotConnect(MuxError):
    """connect() found no Mux at the address. `__cause__` is the OSError."""


class NotSent(MuxError):
    """The request was not sent and has not been executed: it may be repeated.

    It waited too long for its turn or for a connection, here or in mux-proxy; or the client is closed; or mux-proxy
    cannot reach the Mux or cannot write its audit.
    """


class NoAnswer(MuxError):
    """The request was sent and there is no answer, or mux-proxy got none. It may have been executed, or still be."""


class ConnectionLost(NoAnswer):
    """The connection broke before the answer came. The request may have been executed."""


class ProtocolError(ConnectionLost):
    """The peer sent something that a Mux does not send: check address and port."""


class Refused(MuxError):
    """The Mux, the gateway or mux-proxy refused the request; nothing was done.

    `error_code` is the gateway's result, 0 from the Mux itself and for open and close; or, of mux-proxy, -1: not
    allowed, -2: not valid. `message` may be empty.
    """

    def __init__(self, answer: Answer) -> None:
        self.answer = answer
        code, message = answer.data.get("ErrorCode"), answer.data.get("Message")
        self.error_code = code if isinstance(code, int) else 0
        self.message = message if isinstance(message, str) else ""
        super().__init__(self.message or f"refused with error code {self.error_code}")

    def __reduce__(self) -> tuple[type[Refused], tuple[Answer]]:
        return type(self), (self.answer,)


# By the error code of mux-proxy.
OF_PROXY: dict[int, type[NotSent] | type[NoAnswer]] = {-3: NotSent, -4: NoAnswer, -5: NotSent, -6: NotSent}


def error_of(nack: Answer) -> MuxError:
    """The error that a NACK stands for."""
    refused = Refused(nack)
    kind = OF_PROXY.get(refused.error_code)
    return refused if kind is None else kind(str(refused))
