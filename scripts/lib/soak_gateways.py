"""The gateways of a soak: simulator processes, and who makes them raise events and go wrong."""
import itertools
import random
import re
import threading

import client_requests as requests
from programs import Program

# No reset: the daemon ends when a gateway resets its connection, and its service starts it again.
FAULTS = (
    "fault delay {}", "fault silence", "fault close", "fault close-mid-frame", "fault byte-by-byte 5",
    "fault glue", "fault junk 00FFFE11", "fault wrong-crc", "fault wrong-length 18", "fault unknown-reference",
    "fault twice", "fault force-result 12", "fault answer-code 1", "fault off", "close", "counter 77",
    "raw 1122",
)


ADDRESS_WITHOUT_LOCK = 256  # of the questions by which the Mux keeps its connection alive


class Gateway:
    def __init__(self, program, gateway_id):
        self.gateway_id = gateway_id
        self.program = Program(program, "--port", "0", "--locks", ",".join(map(str, requests.LOCKS)))
        self.program.wait_for("Listening on 127.0.0.1:")
        self.port = int(self.program.lines_with("Listening on")[0].rsplit(":", 1)[1])

    def configuration(self):
        return {"ID": self.gateway_id, "Description": f"Gateway {self.gateway_id}", "IpAddress": "127.0.0.1",
                "Port": self.port, "Devices": [{"Name": f"Lock {lock}", "ID": lock} for lock in requests.LOCKS]}

    def shared_references(self):
        """How many frames with a question of the Mux's own had the same reference ID as the one before or behind it:
        only one of two such frames finds its request, and the client of the other gets no answer."""
        frames = [re.search(r"-> \w+ lock (\d+) .*ref (\d+)", line) for line in self.program.lines_with("-> ")]
        pairs = itertools.pairwise((int(frame[1]), int(frame[2])) for frame in frames if frame)
        return sum(one[1] == other[1] and ADDRESS_WITHOUT_LOCK in (one[0], other[0]) for one, other in pairs)


class Troublemaker(threading.Thread):
    """Does something to one gateway again and again, with pauses between two bounds in seconds, until it is told to
    end."""

    def __init__(self, gateway, tally, pauses):
        super().__init__()
        self.gateway, self.tally, self.pauses = gateway, tally, pauses
        self.ending = threading.Event()

    def run(self):
        while not self.ending.wait(random.uniform(*self.pauses)):
            self.act()


class FaultMaker(Troublemaker):
    def act(self):
        self.gateway.program.command(random.choice(FAULTS).format(random.randrange(50, 1500)))
        self.tally.add("faults of gateways")


class EventMaker(Troublemaker):
    """Presents cards that are numbered, so that each event can be told from the others."""

    def __init__(self, gateway, tally, pauses):
        super().__init__(gateway, tally, pauses)
        self.raised = []

    def act(self):
        card = f"{self.gateway.gateway_id:02X}{len(self.raised):08X}"
        self.raised.append(card)
        self.gateway.program.command(f"card {random.choice(requests.LOCKS)} {card}")
        self.tally.add("events raised")
