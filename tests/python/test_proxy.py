"""The package through the running mux-proxy."""

import pathlib
import sys
import unittest

import dwmux

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "proxy" / "running"))

from proxy_site import NOT_ALLOWED, Site  # noqa: E402


class ThroughProxy(Site):
    def dwmux(self, name="reception", **arguments):
        return self.enterContext(dwmux.Client(port=self.proxy_port, tls=self.context(name), **arguments))

    def test_a_client_with_a_certificate_opens_a_door(self):
        client = self.dwmux()
        client.open_lock(1, 5)
        self.assertEqual(self.opened(), 1)
        self.assertEqual(client.status(1, 5).battery_status, 3)

    def test_what_no_rule_allows_is_refused(self):
        with self.assertRaisesRegex(dwmux.Refused, "^Not allowed$") as refused:
            self.dwmux("guest").open_lock(1, 5)
        self.assertEqual(refused.exception.error_code, NOT_ALLOWED)
        self.assertEqual(self.opened(), 0)

    def test_a_request_that_the_gateway_leaves_unanswered_may_have_been_executed(self):
        self.simulator.command("fault silence 1 lock 5")
        with self.assertRaisesRegex(dwmux.NoAnswer, "No answer in time, it may have been done"):
            self.dwmux().open_lock(1, 5)

    def test_a_request_is_not_sent_to_a_mux_that_is_away(self):
        client = self.dwmux()
        self.mux.kill()
        self.proxy.wait_for("The connection to the Mux was lost")
        with self.assertRaisesRegex(dwmux.NotSent, "the Mux cannot be reached") as not_sent:
            client.open_lock(1, 5)
        self.assertNotIsInstance(not_sent.exception, dwmux.NoAnswer)

    def test_a_client_without_a_certificate_is_turned_away(self):
        client = dwmux.Client(port=self.proxy_port, tls=self.context(None), timeouts=dwmux.Timeouts(start=1))
        self.addCleanup(client.close)
        with self.assertRaises(dwmux.MuxError):
            client.connect()
            client.open_lock(1, 5)
        self.assertEqual(self.opened(), 0)

    def test_events_come_through(self):
        events = self.dwmux().events()
        self.simulator.command("card 5 04A1B2C3")
        self.assertEqual(events.next(timeout=10).card, "04A1B2C3")


class ErrorCodes(unittest.TestCase):
    def test_an_unsent_request_may_be_repeated_and_an_unanswered_one_not(self):
        kinds = {}
        for code in range(-6, 1):
            nack = dwmux.Answer("a", False, None, {"ErrorCode": code, "Message": "x"})
            kinds[code] = type(dwmux.errors.error_of(nack)).__name__
        self.assertEqual(kinds, {-6: "NotSent", -5: "NotSent", -4: "NoAnswer", -3: "NotSent", -2: "Refused",
                                 -1: "Refused", 0: "Refused"})

    def test_a_proxy_has_more_time_for_its_answer(self):
        self.assertEqual(dwmux.Timeouts().answer_for(with_tls=True), 21)
        self.assertEqual(dwmux.Timeouts().answer_for(with_tls=False), 15)
        self.assertEqual(dwmux.Timeouts(answer=4).answer_for(with_tls=True), 4)


if __name__ == "__main__":
    unittest.main()
