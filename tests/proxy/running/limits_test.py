"""Where the proxy listens, how long and how many connections it keeps."""
import socket
import time
import unittest

from proxy_site import NOT_ALLOWED, STATUS, PlayError, Site, result, wait_until

ELSEWHERE = "127.0.0.2"


class Limits(Site):
    clients = ("reception", "guest", "crowd")
    rules = Site.rules + [{"Clients": ["crowd", "guest"], "Rights": ["status"], "Gateways": "all", "Locks": "all"}]

    def is_let_in(self, name, source):
        try:
            return result(self.client(name, source=source).ask(STATUS)) == 0
        except (OSError, PlayError):
            return False

    def test_listens_on_each_address(self):
        self.restart_proxy(Listen={"Addresses": ["127.0.0.1", "::1"], "Port": self.proxy_port})
        for host in ("127.0.0.1", "::1"):
            self.assertEqual(result(self.client(host=host).ask(STATUS)), 0, host)
        self.assertEqual({row["address"] for row in self.wait_for_rows(2, "--kind", "request")}, {"127.0.0.1", "::1"})

    def test_ends_slow_handshakes_and_idle_connections(self):
        self.restart_proxy(Limits={"HandshakeSeconds": 1, "IdleSeconds": 2})
        with socket.create_connection(("127.0.0.1", self.proxy_port), 10) as silent:
            busy, idle = self.client(), self.client()
            begin = time.monotonic()
            while time.monotonic() < begin + 3:
                self.assertEqual(result(busy.ask(STATUS)), 0)
                time.sleep(0.1)
            self.assertEqual(silent.recv(1), b"")
            self.assertTrue(idle.is_closed())
            self.assertEqual(result(busy.ask(STATUS)), 0)

    def test_lets_in_no_more_than_its_limits(self):
        here, there = "127.0.0.1", ELSEWHERE
        for limit, within, beyond, beside in (
                ("ConnectionsPerClient", ("reception", here), ("reception", there), ("guest", here)),
                ("ConnectionsPerAddress", ("reception", here), ("guest", here), ("guest", there)),
                ("Connections", ("reception", here), ("guest", there), None)):
            with self.subTest(limit):
                self.restart_proxy(Limits={limit: 2})
                clients = [self.client(within[0], source=within[1]) for _ in range(2)]
                self.assertEqual([result(client.ask(STATUS)) for client in clients], [0, 0])
                self.assertFalse(self.is_let_in(*beyond))
                self.assertTrue(beside is None or self.is_let_in(*beside))
                wait_until(lambda: any("too many connections" in row["remark"] for row in self.audit("--limit", "6")),
                           "a row about the one turned away")
                for client in clients:
                    client.close()
                wait_until(lambda: self.is_let_in(*beyond), "a place that was free again")

    def test_fifty_clients_meet_no_limit(self):
        clients = [self.client(name) for name in ("reception", "guest", "crowd") * 16 + ("reception", "guest")]
        for client in clients:
            client.request(STATUS, gateway=99)  # which the Mux itself answers
        self.assertEqual(len({result(client.receive()) for client in clients}), 1)
        self.assertEqual({row["result"] for row in self.wait_for_rows(50, "--kind", "request")}, {"nack"})


class Rules(Site):
    """Each code needs its right, on its gateway and lock."""

    codes = {"open": (10, 110), "close": (11, 111), "status": (12,), "open-close": (13, 113),
             "access-denied": (14, 114), "whitelist": (21, 22, 23, 24, 25)}
    clients = (*codes, "ranged")
    rules = [{"Clients": [right], "Rights": [right], "Gateways": "all", "Locks": "all"} for right in codes]
    rules.append({"Clients": ["ranged"], "Rights": ["status"], "Gateways": ["1-2"], "Locks": ["3-5", 7, "-7--6"]})

    def test_each_code_needs_its_right(self):
        clients = {right: self.client(right) for right in self.codes}
        data = {"duration": 5, "cardData": "04A1B2C3", "isUIDCard": True}
        asked = {(right, client.request(code, **data)): code for right, client in clients.items()
                 for codes in self.codes.values() for code in codes}
        allowed = {right: set() for right in clients}
        for right, client in clients.items():
            for _ in range(len(asked) // len(clients)):
                answer = client.receive()
                if result(answer) != NOT_ALLOWED:
                    allowed[right].add(asked[right, answer["MessageID"]])
        self.assertEqual(allowed, {right: set(codes) for right, codes in self.codes.items()})

    def test_ranges_hold_to_both_their_ends(self):
        client = self.client("ranged")
        allowed = {(gateway, lock) for gateway in (0, 1, 2, 3) for lock in (-8, -7, -6, -5, 2, 3, 4, 5, 6, 7, 8)
                   if result(client.ask(STATUS, gateway=gateway, lock=lock)) != NOT_ALLOWED}
        self.assertEqual(allowed, {(gateway, lock) for gateway in (1, 2) for lock in (-7, -6, 3, 4, 5, 7)})


if __name__ == "__main__":
    unittest.main()
