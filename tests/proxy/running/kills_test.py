"""Nothing is lost: the proxy, and then the Mux, killed again and again under load.

MUX_KILLS is how often the proxy is, 6 by default; the Mux a quarter of that, but at least 3 times. Every opening has a
lock of its own, so that what the simulator saw, what the audit holds and what the client was told can be compared one by
one.
"""
import collections
import json
import os
import random
import re
import threading
import time
import unittest

from proxy_site import OPEN, PROGRAMS, PlayError, Site, free_port, result, wait_until

KILLS = int(os.environ.get("MUX_KILLS", "6"))
KILLS_OF_THE_MUX = max(3, KILLS // 4)
LOCKS_OF_A_GATEWAY = 8000


def locks_of(gateway):
    """Addresses that no other gateway has."""
    return range(gateway * 10000, gateway * 10000 + LOCKS_OF_A_GATEWAY)


class Opener(threading.Thread):
    """A client that opens one lock after the other, each once, on a gateway of its own."""

    def __init__(self, site, gateway):
        super().__init__(daemon=True)
        self.site, self.gateway = site, gateway
        self.locks = iter(locks_of(gateway))
        self.is_ending = False
        self.asked, self.answers = {}, collections.defaultdict(list)

    def run(self):
        while not self.is_ending:
            try:
                client = self.site.client()
            except (OSError, PlayError):
                time.sleep(0.05)
                continue
            try:
                self.use(client)
            except (OSError, PlayError):
                client.close()

    def use(self, client):
        """Always two requests under way."""
        while not self.is_ending:
            for _ in range(2):
                lock = next(self.locks)
                self.asked[client.request(OPEN, gateway=self.gateway, lock=lock)] = lock
            for _ in range(2):
                answer = client.receive()
                self.answers[answer["MessageID"]].append(result(answer))


class Kills(Site):
    gateways = 3

    def start_simulator(self):
        gateways = [{"ID": number, "IpAddress": "127.0.0.1", "Port": free_port(),
                     "Devices": [{"ID": lock} for lock in locks_of(number)]} for number in range(1, self.gateways + 1)]
        self.mux_file = self.folder / "mux.json"
        self.mux_file.write_text(json.dumps({"Enabled": True, "Gateways": gateways}))
        self.simulator = self.start(PROGRAMS / "gateway-simulator", "--gateways", str(self.mux_file))
        self.simulator.wait_for("Listening on", self.gateways)

    def start_openers(self):
        openers = [Opener(self, gateway) for gateway in range(1, self.gateways + 1)]
        for opener in openers:
            opener.start()
        return openers

    def end_openers(self, openers):
        for opener in openers:
            opener.is_ending = True
        for opener in openers:
            opener.join(30)

    def opened_locks(self):
        """The lock of each opening that the simulator saw."""
        return {int(re.search(r"OPEN_LOCK lock (\d+)", line)[1]) for line in self.simulator.lines_with("OPEN_LOCK lock ")}

    def test_what_a_killed_proxy_let_through_is_in_the_audit(self):
        openers = self.start_openers()
        for _ in range(KILLS):
            seen = len(self.opened_locks())
            wait_until(lambda before=seen: len(self.opened_locks()) > before, "openings", 30)
            time.sleep(random.uniform(0, 0.4))
            self.proxy.kill()
            self.start_proxy()
        self.end_openers(openers)
        rows = {row["lock"] for row in self.audit("--kind", "request")}
        seen = self.opened_locks()
        self.assertGreaterEqual(len(seen), KILLS)
        self.assertEqual(seen - rows, set())

    def test_every_request_is_answered_once_while_the_mux_is_killed(self):
        openers = self.start_openers()
        for _ in range(KILLS_OF_THE_MUX):
            seen = len(self.opened_locks())
            wait_until(lambda before=seen: len(self.opened_locks()) > before, "openings", 30)
            time.sleep(random.uniform(0, 0.4))
            self.mux.kill()
            self.start_mux()
        self.end_openers(openers)
        told = {}
        for opener in openers:
            for message_id, lock in opener.asked.items():
                self.assertEqual(len(opener.answers[message_id]), 1, f"lock {lock}")
                told[lock] = opener.answers[message_id][0]
        # An opening that a client was told was not sent must not have been seen.
        for lock in self.opened_locks():
            self.assertIn(told[lock], (0, -4), lock)


if __name__ == "__main__":
    unittest.main()
