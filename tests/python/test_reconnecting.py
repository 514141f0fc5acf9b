"""Lost connections: what is told, what is sent again and what never."""

import concurrent.futures
import socketserver
import threading
import unittest

import dwmux
import programs
import support
from dwmux import CardPresented, ConnectionLost, NotSent, Reconnected, Timeouts
from dwmux._reconnecting import ReconnectDelays

# Attempts in quick succession, so that tests need not wait.
QUICK = Timeouts(reconnect=0.2)


class LostConnectionTest(support.SystemTest):
    def client(self, timeouts=QUICK):
        client = self.enterContext(dwmux.Client(port=self.system.port, timeouts=timeouts))
        self.system.wait_for_clients(1)
        return client

    def lose_mux(self):
        """Stops the Mux and waits until the client knows it: what is sent before is lost."""
        with self.assertLogs("dwmux", "WARNING") as log:
            self.system.stop_mux()
            programs.wait_until(lambda: log.records, "the end of the connection")

    def test_a_request_under_way_is_never_sent_again(self):
        client = self.client()
        events = client.events()
        self.gateway.command("fault silence always")
        with concurrent.futures.ThreadPoolExecutor(1) as pool:
            request = pool.submit(client.open_lock, 1, 5)
            self.gateway.wait_for_request("OPEN_LOCK lock 5")
            self.system.mux.kill()
            self.assertIsInstance(request.exception(support.DEADLINE), ConnectionLost)
        self.gateway.command("fault off")
        self.system.start_mux()
        self.assertIsInstance(events.next(support.DEADLINE), Reconnected)
        client.close_lock(1, 5)
        self.assertEqual(self.gateway.opened(), 1)

    def test_events_go_on_behind_a_restart_and_say_so(self):
        client = self.client()
        events = client.events()
        self.lose_mux()
        self.system.start_mux()
        reconnected = events.next(support.DEADLINE)
        self.assertIsInstance(reconnected, Reconnected)
        self.assertGreater(reconnected.downtime, 0)
        self.system.wait_for_clients(1)
        self.gateway.command("card 5 04A1")
        self.assertIsInstance(events.next(support.DEADLINE), CardPresented)

    # Until a slow gateway has told its counter, the Mux sends requests with a wrong one, which are never answered.
    def test_a_request_waits_until_the_mux_is_there_and_ready(self):
        client = self.client(Timeouts(answer=5, reconnect=0.2))
        self.gateway.command("fault delay 1200 always")
        self.lose_mux()
        with concurrent.futures.ThreadPoolExecutor(1) as pool:
            request = pool.submit(client.open_lock, 1, 5)
            self.system.launch_mux()
            request.result(support.DEADLINE)
        self.assertEqual(self.gateway.opened(), 1)

    def test_a_request_is_not_sent_when_the_mux_stays_away(self):
        client = self.client(Timeouts(start=0.5, reconnect=0.2))
        self.lose_mux()
        self.assertRaisesRegex(NotSent, "^not sent within 0.5 s: ", client.open_lock, 1, 5)

    def test_a_program_may_start_before_the_mux(self):
        self.system.stop_mux()
        client = dwmux.Client(port=self.system.port, timeouts=QUICK)
        client.connect(wait=False)
        self.addCleanup(client.close)
        self.system.start_mux()
        client.open_lock(1, 5)

    def test_a_mux_whose_host_is_gone_is_noticed(self):
        self.client()
        remote = f" 0100007F:{self.system.port:04X} 01 "
        with open("/proc/net/tcp") as connections:
            (line,) = [line for line in connections if remote in line]
        kind, _, jiffies = line.split()[5].partition(":")
        self.assertEqual(kind, "02", "no keep-alive")
        self.assertLessEqual(int(jiffies, 16), 15_00)


class PeerTest(unittest.TestCase):
    def test_a_mail_server_is_not_a_mux(self):
        class Greeting(socketserver.StreamRequestHandler):
            def handle(self):
                self.wfile.write(b"220 mail\r\n")

        server = socketserver.ThreadingTCPServer(("127.0.0.1", 0), Greeting)
        self.addCleanup(server.server_close)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.addCleanup(server.shutdown)
        timeouts = Timeouts(start=1, reconnect=0.2)
        with dwmux.Client(port=server.server_address[1], timeouts=timeouts) as client:
            self.assertRaisesRegex(dwmux.MuxError, "not a message of a Mux: b'220 mail", client.open_lock, 1, 5)


class DelaysTest(unittest.TestCase):
    def test_delays_grow_up_to_the_longest(self):
        delays = ReconnectDelays(4.0)
        for longest in (0.5, 1.0, 2.0, 4.0, 4.0):
            delay = delays.next()
            self.assertLessEqual(delay, longest)
            self.assertGreaterEqual(delay, longest / 2)

    def test_clients_do_not_return_at_once(self):
        self.assertGreater(len({ReconnectDelays(30.0).next() for _ in range(20)}), 1)

    def test_a_short_connection_does_not_begin_anew(self):
        delays = ReconnectDelays(30.0)
        for _ in range(5):
            delays.next()
        delays.connected()
        self.assertGreaterEqual(delays.next(), 8.0)

    def test_a_connection_that_lasted_begins_anew(self):
        now = 0.0
        delays = ReconnectDelays(30.0, clock=lambda: now)
        for _ in range(5):
            delays.next()
        delays.connected()
        now += 10.0
        self.assertLessEqual(delays.next(), 0.5)


if __name__ == "__main__":
    unittest.main()
