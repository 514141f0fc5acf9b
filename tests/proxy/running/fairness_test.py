"""What one client may take from others, however many connections it has."""
import signal
import ssl
import time
import unittest

from proxy_site import OPEN, STATUS, PlayError, Site, certificates, result, wait_until


class Fairness(Site):
    clients = ("reception", "guest", "gate")
    rules = [{"Clients": ["reception", "gate"], "Rights": ["open", "status"], "Gateways": "all", "Locks": "all"}]

    def test_a_client_with_many_connections_has_one_turn(self):
        self.simulator.command("fault delay 400 always")
        greedy = [self.client() for _ in range(20)]
        other = self.client("gate")
        for client in greedy:
            client.request(OPEN, lock=6)
        self.simulator.wait_for("OPEN_LOCK lock 6")
        other.request(OPEN, lock=7)
        before = self.opened(6)
        self.simulator.wait_for("OPEN_LOCK lock 7")
        # Its turn came behind one of the greedy client's, or behind another that was about to go.
        opened = self.simulator.lines_with("-> OPEN_LOCK")
        place = next(place for place, line in enumerate(opened) if "lock 7" in line)
        self.assertLess(before, 15)
        self.assertLessEqual(place, before + 2)

    def test_refused_requests_are_read_slowly(self):
        guests = [self.client("guest") for _ in range(3)]
        begin = time.monotonic()
        for guest in guests:
            for _ in range(5):
                guest.request(STATUS)
        for guest in guests:
            for _ in range(5):
                guest.receive()
        # Of 15, the first 5 go at once; the others take 200 ms each.
        self.assertGreater(time.monotonic() - begin, 1.6)

    def test_a_handshake_that_began_before_the_revocation_ends_with_nothing(self):
        certificates(self.authority, "client", "thief")
        incoming, outgoing = ssl.MemoryBIO(), ssl.MemoryBIO()
        half = self.context("thief").wrap_bio(incoming, outgoing, server_hostname="localhost")
        with self.assertRaises(ssl.SSLWantReadError):
            half.do_handshake()
        plain = self.plain()
        plain.sendall(outgoing.read())
        incoming.write(plain.recv(65536))
        certificates(self.authority, "revoke", "thief")
        self.reload()
        half.do_handshake()
        plain.sendall(outgoing.read())
        incoming.write(plain.recv(65536))
        with self.assertRaises((ssl.SSLError, PlayError)):
            if half.read(1000) == b"":
                raise PlayError("closed")
        wait_until(lambda: "turned-away" in [row["operation"] for row in self.audit("--kind", "connection")], "its row")

    def test_it_ends_at_once_without_clients(self):
        begin = time.monotonic()
        self.proxy.stop(signal.SIGTERM, 0)
        self.assertLess(time.monotonic() - begin, 1.5)


if __name__ == "__main__":
    unittest.main()
