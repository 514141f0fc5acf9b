"""The client for threads against the real Mux."""

import concurrent.futures
import socket
import subprocess
import sys
import threading
import unittest

import dwmux
import support
from dwmux import Card, NoAnswer, NotSent, Refused, Timeouts


class OperationsTest(support.SystemTest):
    def setUp(self):
        super().setUp()
        self.client = self.enterContext(dwmux.Client(port=self.system.port))

    def test_a_lock_is_opened_and_closed(self):
        self.client.open_lock(1, 5)
        self.gateway.wait_for_request("OPEN_LOCK lock 5")
        self.client.close_lock(1, 5)
        self.gateway.wait_for_request("CLOSE_LOCK lock 5")

    def test_a_duration_reaches_the_gateway(self):
        self.client.open_close_lock(1, 6, 7)
        self.gateway.wait_for_request("OPEN_CLOSE_LOCK lock 6")
        self.client.deny_access(1, 6)

    def test_the_status_is_that_of_the_lock(self):
        self.gateway.command("battery 5 2 1")
        status = self.client.status(1, 5)
        self.assertEqual((status.battery_status, status.battery_level), (2, 1))

    def test_a_card_is_added_once(self):
        card = Card("04A1B2C3", is_uid=True)
        self.client.add_card(1, 5, card)
        with self.assertRaises(Refused) as refusal:
            self.client.add_card(1, 5, card)
        self.assertEqual((refusal.exception.error_code, refusal.exception.message), (2, "Already in whitelist."))
        self.client.remove_card(1, 5, card)
        self.client.add_card(1, 5, card)
        self.client.clear_whitelist(1, 5)
        self.client.add_card(1, 5, card)

    def test_a_whitelist_is_switched(self):
        self.client.disable_whitelist(1, 5)
        self.gateway.wait_for_request("DISABLE_WHITELIST lock 5")
        self.client.enable_whitelist(1, 5)
        self.gateway.wait_for_request("ENABLE_WHITELIST lock 5")

    def test_the_mux_refuses_a_gateway_that_it_does_not_have(self):
        with self.assertRaisesRegex(Refused, "^Error in request$"):
            self.client.open_lock(9, 5)

    def test_six_requests_at_once_get_six_answers(self):
        with concurrent.futures.ThreadPoolExecutor(6) as pool:
            list(pool.map(lambda _: self.client.open_lock(1, 5), range(6)))
        self.gateway.wait_for_request("OPEN_LOCK lock 5", 6)

    def test_a_closed_client_sends_nothing(self):
        self.client.close()
        self.assertRaisesRegex(NotSent, "^the client is closed$", self.client.open_lock, 1, 5)


class GatewaysTest(unittest.TestCase):
    def test_a_gateway_does_not_wait_for_another(self):
        system = support.System(self, gateways=2)
        system.gateways[0].command("fault silence always")
        client = self.enterContext(dwmux.Client(port=system.port))
        with concurrent.futures.ThreadPoolExecutor(1) as pool:
            silent = pool.submit(client.open_lock, 1, 5)
            system.gateways[0].wait_for_request("OPEN_LOCK lock 5")
            client.open_lock(2, 5)
            self.assertFalse(silent.done())
            client.close()
            self.assertIsInstance(silent.exception(support.DEADLINE), dwmux.ConnectionLost)


class SilenceTest(support.SystemTest):
    def test_a_request_without_an_answer_is_given_up(self):
        self.gateway.command("fault silence always")
        with dwmux.Client(port=self.system.port, timeouts=Timeouts(answer=1)) as client:
            self.assertRaisesRegex(NoAnswer, "^no answer within 1 s$", client.open_lock, 1, 5)

    # The first lock does not exist: its answer is a refusal, which comes while the second request waits, and a second
    # before the other answer, because those that come together come late.
    def test_a_late_answer_is_not_that_of_the_next_request(self):
        self.gateway.command("fault delay 4600 1")
        with dwmux.Client(port=self.system.port, timeouts=Timeouts(answer=4)) as client:
            self.assertRaises(NoAnswer, client.open_lock, 1, 7)
            with self.assertLogs("dwmux", "INFO") as log:
                self.gateway.command("fault delay 2000 1")
                client.open_lock(1, 5)
        self.assertEqual([record.getMessage() for record in log.records],
                         [f"127.0.0.1:{self.system.port}: dropped an answer that came too late"])

    def test_a_request_that_waits_too_long_for_its_turn_is_not_sent(self):
        self.gateway.command("fault silence always")
        timeouts = Timeouts(start=0.5, answer=support.DEADLINE)
        with (concurrent.futures.ThreadPoolExecutor(1) as pool,
              dwmux.Client(port=self.system.port, timeouts=timeouts) as client):
            pool.submit(client.open_lock, 1, 5)
            self.gateway.wait_for_request("OPEN_LOCK lock 5")
            self.assertRaisesRegex(NotSent, "^not sent within 0.5 s: gateway 1 is busy$", client.open_lock, 1, 6)
        self.assertEqual(self.gateway.opened(), 1)


class LifeTest(unittest.TestCase):
    def test_a_client_that_is_not_connected_sends_nothing(self):
        self.assertRaises(NotSent, dwmux.Client().open_lock, 1, 5)

    def test_a_client_can_be_closed_before_it_connects_and_twice(self):
        client = dwmux.Client()
        client.close()
        client.close()

    def test_a_program_may_end_without_closing(self):
        with socket.create_server(("127.0.0.1", 0)) as server:
            code = f"import dwmux; client = dwmux.Client(port={server.getsockname()[1]}); client.connect()"
            ended = subprocess.run([sys.executable, "-B", "-X", "dev", "-c", code], capture_output=True, text=True,
                                   timeout=support.DEADLINE)
        self.assertEqual((ended.returncode, ended.stderr), (0, ""))

    def test_nobody_listens(self):
        bound = support.free_socket()
        self.addCleanup(bound.close)
        client = dwmux.Client(port=bound.getsockname()[1])
        self.assertRaisesRegex(dwmux.CannotConnect, "^cannot connect to 127.0.0.1:", client.connect)
        self.assertNotIn("dwmux", [thread.name for thread in threading.enumerate()])

    def test_an_impossible_address_is_an_error(self):
        for host, port in [("127.0.0.1", 70000), ("a" * 64, 5555), ("host.invalid", 5555)]:
            with self.subTest(host=host, port=port):
                self.assertRaises(dwmux.CannotConnect, dwmux.Client(host, port).connect)

    def test_times_are_positive(self):
        self.assertRaisesRegex(ValueError, "^answer: 0 is not a positive number of seconds$", Timeouts, answer=0)


if __name__ == "__main__":
    unittest.main()
