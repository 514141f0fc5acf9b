#!/usr/bin/env python3
"""Client of the Mux with the package dwmux: open a lock, print the answer, then events.

    python3 mux_client.py [--host 127.0.0.1] [--port 5555] --gateway 1 --lock 5 [--events 3]

Exit status: 0 = ACK, 1 = NACK, 2 = no reply, the lock may still have been opened; 64 = wrong arguments.
"""

import argparse
import itertools
import json
import pathlib
import sys
from typing import NoReturn

# In the source tree the package need not be installed.
SOURCES = pathlib.Path(__file__).resolve().parents[2] / "python" / "src"
if SOURCES.is_dir():
    sys.path.insert(0, str(SOURCES))

import dwmux  # noqa: E402


class Parser(argparse.ArgumentParser):
    def error(self, message: str) -> NoReturn:
        self.print_usage(sys.stderr)
        self.exit(64, f"{self.prog}: {message}\n")


def text_of(event: dwmux.Happening) -> str:
    match event:
        case dwmux.CardPresented():
            return f"card {event.card} at lock {event.lock} of gateway {event.gateway}"
        case dwmux.CardAdmitted():
            return f"card {event.card} admitted by lock {event.lock} of gateway {event.gateway}"
        case dwmux.PinEntered():
            return f"PIN entered at lock {event.lock} of gateway {event.gateway}"
        case dwmux.Reconnected():
            return f"reconnected after {event.downtime:.0f} s"
        case dwmux.EventsDropped():
            return f"{event.count} events dropped"


def open_lock(mux: dwmux.Client, gateway: int, lock: int) -> bool:
    try:
        answer = mux.ask(dwmux.Request(dwmux.Operation.OPEN, gateway, lock))
    except dwmux.Refused as refusal:
        print("NACK", json.dumps(refusal.answer.data), flush=True)
        return False
    print("ACK", json.dumps(answer.data), flush=True)
    return True


def main() -> int:
    parser = Parser(description="Open a lock and print events")
    parser.add_argument("--host", default="127.0.0.1")
    parser.add_argument("--port", type=int, default=5555)
    parser.add_argument("--gateway", type=int, required=True)
    parser.add_argument("--lock", type=int, required=True)
    parser.add_argument("--events", type=int, default=0, help="Number of events to wait for")
    options = parser.parse_args()
    try:
        with dwmux.Client(options.host, options.port) as mux:
            events = mux.events()
            opened = open_lock(mux, options.gateway, options.lock)
            for event in itertools.islice(events, options.events):
                print(text_of(event), flush=True)
    except dwmux.MuxError as error:
        print(f"No answer from the Mux: {error}", file=sys.stderr)
        return 2
    except ValueError as error:
        parser.error(str(error))
    return 0 if opened else 1


if __name__ == "__main__":
    sys.exit(main())
