"""Who did what, on disk: also when the proxy is killed and when the disk is full."""
import resource
import subprocess
import unittest

from proxy_site import ADD, DENIED, NOT_AUDITED, OPEN, PROGRAMS, STATUS, Program, Site, result, wait_until


class Audit(Site):
    def test_each_request_has_a_row_with_its_result(self):
        reception, guest = self.client(), self.client("guest")
        reception.ask(OPEN)
        reception.ask(STATUS, lock=99)
        reception.ask(ADD, cardData="04A1B2C3D4E5F6", isUIDCard=True)
        guest.ask(DENIED)
        guest.send("nonsense")
        guest.receive()
        rows = self.wait_for_rows(5, "--kind", "request")
        self.assertEqual([(row["client"], row["operation"], row["result"]) for row in rows],
                         [("reception", "open", "ack"), ("reception", "status", "nack"),
                          ("reception", "whitelist-add", "ack"), ("guest", "access-denied", "not-allowed"),
                          ("guest", "", "not-valid")])
        self.assertEqual((rows[0]["gateway"], rows[0]["lock"], rows[0]["address"]), (1, 5, "127.0.0.1"))
        self.assertTrue(rows[2]["card"].endswith("E5F6"))
        self.assertNotIn("04A1", rows[2]["card"])

    def test_events_have_rows_and_pins_do_not_show(self):
        # One after the other: of two frames that meet, the Mux reads both 11 s later.
        for number, command in enumerate(("card 5 04A1B2C3", "pin 5 1234"), 1):
            self.simulator.command(command)
            wait_until(lambda expected=number: len(self.audit("--kind", "event")) == expected, command)
        card, pin = self.audit("--kind", "event")
        self.assertEqual((card["operation"], card["lock"]), ("card", 5))
        self.assertEqual((pin["operation"], pin["card"]), ("pin", ""))
        for row in (card, pin):
            self.assertNotIn("31323334", str(row))

    def test_a_gap_in_the_connection_to_the_mux_has_rows(self):
        self.mux.kill()
        self.start_mux()
        wait_until(lambda: [row["operation"] for row in self.audit("--kind", "mux")] == ["connected", "lost", "connected"],
                   "the rows of the gap")

    def test_what_was_under_way_when_the_proxy_was_killed_is_unknown(self):
        self.simulator.command("fault silence always")
        self.client().request(OPEN)
        self.simulator.wait_for("OPEN_LOCK")
        self.proxy.kill()
        self.start_proxy()
        self.assertEqual([row["result"] for row in self.audit("--kind", "request")], ["unknown"])

    def test_on_a_full_disk_no_door_moves(self):
        self.proxy.kill()
        limit = (self.folder / "audit.db").stat().st_size + 200000
        self.proxy = Program("prlimit", f"--fsize={limit}", str(PROGRAMS / "mux-proxy"), "--config",
                             str(self.folder / "proxy.json"))
        self.programs.append(self.proxy)
        self.proxy.wait_for("Connected to the Mux")
        client = self.client()
        message_id = "x" * 40
        answers = []
        while NOT_AUDITED not in answers[-1:]:
            self.assertLess(len(answers), 20000, "the limit was never reached")
            answers.append(result(client.ask(OPEN, message_id=message_id)))
        acks = answers.count(0)
        self.assertEqual(result(client.ask(STATUS)), 0)
        self.assertEqual(self.opened(), acks)


if __name__ == "__main__":
    unittest.main()
