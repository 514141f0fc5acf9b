"""What the Mux and the gateways get to see, and when."""
import datetime
import time
import unittest

from proxy_site import NOT_SENT, NO_ANSWER, OPEN, OPEN_CLOSE, STATUS, Site, result, wait_until


def time_of(row):
    return datetime.datetime.fromisoformat(row["time"])


class Queue(Site):
    def test_a_request_is_written_anew_from_its_values(self):
        client = self.client()
        self.assertEqual(result(client.ask(OPEN_CLOSE, duration=256 + 7)), 0)
        client.send('{"MessageID":"a","MessageCode":10,"Data":{"gatewayID":1,"lockID":5}}\0{"lockID":6}')
        self.assertEqual(result(client.receive()), 0)
        self.assertEqual(self.simulator.count("OPEN_CLOSE_LOCK lock 5") + self.simulator.count("lock 6"), 1)
        self.assertRegex(self.simulator.lines_with("OPEN_CLOSE_LOCK lock 5")[0], r"payload 0*7\b")

    def test_no_identifier_goes_to_the_mux_twice(self):
        for _ in range(2):
            client = self.client()
            for _ in range(3):
                self.assertEqual(result(client.ask(STATUS, message_id="requestNewSEQID-")), 0)
            self.restart_proxy()
        sent = [line.split()[-6] for line in self.mux.lines_with("Sending message answer with ID")]
        self.assertEqual(len(set(sent)), 6, sent)
        self.assertEqual([text for text in sent if len(text) > 40 or "request" in text], [])

    def test_what_waits_while_the_mux_is_away_goes_a_second_after_it_came(self):
        self.mux.kill()
        self.proxy.wait_for("The connection to the Mux was lost")
        client = self.client()
        client.request(OPEN)
        self.start_mux()
        self.assertEqual(result(client.receive()), 0)
        connected = [row for row in self.audit("--kind", "mux") if row["operation"] == "connected"][-1]
        opening = self.wait_for_rows(1, "--kind", "request")[-1]
        answered = time_of(opening) + datetime.timedelta(milliseconds=opening["milliseconds"])
        self.assertGreaterEqual(answered, time_of(connected) + datetime.timedelta(seconds=1))

    def test_what_its_client_no_longer_waits_for_is_not_sent(self):
        self.simulator.command("fault silence always lock 5")
        self.client().request(OPEN)
        self.simulator.wait_for("OPEN_LOCK lock 5")
        leaver = self.client()
        leaver.request(OPEN, lock=6)
        wait_until(lambda: len(self.audit("--kind", "request")) == 2, "the row of the second request")
        leaver.close()
        self.assertEqual(result(self.client().ask(OPEN, lock=7)), 0)
        self.assertEqual(self.opened(6), 0)
        self.assertEqual([row["lock"] for row in self.wait_for_rows(1, "--result", "dropped")], [6])

    def test_at_most_four_requests_are_without_an_answer(self):
        self.simulator.command("fault silence always lock 5")
        clients, begin = [self.client() for _ in range(6)], time.monotonic()
        for number, client in enumerate(clients):
            wait_until(lambda: time.monotonic() >= begin + 2 * number - 2.2, "the next turn")
            client.request(OPEN)
        # The fifth would go when the first is given up, 15 s after the first went.
        self.assertEqual(result(clients[5].receive()), NOT_SENT)
        self.assertEqual(self.opened(), 4)
        self.assertEqual(result(clients[0].receive()), NO_ANSWER)


if __name__ == "__main__":
    unittest.main()
