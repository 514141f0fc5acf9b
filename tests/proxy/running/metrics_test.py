"""Metrics of a running proxy, and its round of status requests."""
import json
import signal
import socket
import subprocess
import unittest

from prometheus_site import MeasuredSite
from proxy_site import NOT_ALLOWED, OPEN, PROGRAMS, STATUS, free_port, result, wait_until


class Metrics(MeasuredSite):
    def test_count_requests_refusals_and_events(self):
        client = self.client()
        self.assertEqual(result(client.ask(OPEN)), 0)
        self.assertEqual(result(client.ask(OPEN)), 0)
        self.assertGreater(result(client.ask(STATUS, lock=99)), 0)
        self.assertEqual(result(self.client("guest").ask(OPEN)), NOT_ALLOWED)
        self.simulator.command("card 5 04A1B2C3")
        self.wait_for_value(2, "mux_proxy_requests_total", gateway=1, operation="open", result="ack")
        self.wait_for_value(1, "mux_proxy_requests_total", gateway=1, operation="status", result="nack")
        self.wait_for_value(1, "mux_proxy_refusals_total", reason="not-allowed")
        self.wait_for_value(1, "mux_proxy_events_total", event="card", gateway=1)
        self.wait_for_value(2, "mux_proxy_connections")
        self.assertGreaterEqual(self.value("mux_proxy_request_duration_seconds_count", gateway=1), 3)
        self.assertGreater(self.value("mux_proxy_request_duration_seconds_sum", gateway=1), 0)

    def test_tell_that_the_mux_is_away(self):
        self.wait_for_value(1, "mux_proxy_mux_connected")
        self.mux.kill()
        self.wait_for_value(0, "mux_proxy_mux_connected")
        self.assertEqual(self.value("mux_proxy_mux_connection_losses_total"), 1)
        self.start_mux()
        self.wait_for_value(1, "mux_proxy_mux_connected")

    def test_measure_the_audit_and_the_ends_of_certificates(self):
        wait_until(lambda: self.value("mux_proxy_audit_rows") > 0, "rows of the audit")
        self.assertGreater(self.value("mux_proxy_audit_size_bytes"), 4096)
        for certificate in ("server", "authority", "revocation-list"):
            wait_until(lambda name=certificate: self.value("mux_proxy_certificate_expiry_timestamp_seconds",
                                                           certificate=name), certificate)

    def test_have_names_and_units_by_the_conventions(self):
        self.client().ask(STATUS)
        self.wait_for_value(1, "mux_proxy_requests_total", gateway=1, operation="status", result="ack")
        checked = subprocess.run(["promtool", "check", "metrics"], input=self.text(), capture_output=True, text=True,
                                 check=False)
        self.assertEqual((checked.returncode, checked.stdout, checked.stderr), (0, "", ""))

    def test_are_served_at_127_0_0_1_unless_the_file_says_otherwise(self):
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection(("127.0.0.2", self.metrics_port), 5)
        self.restart_proxy(Metrics={"Port": self.metrics_port, "Address": "127.0.0.2"})
        socket.create_connection(("127.0.0.2", self.metrics_port), 5).close()

    def test_are_off_without_their_section(self):
        self.proxy.stop(signal.SIGTERM, 0)
        self.sections = dict
        self.start_proxy()
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection(("127.0.0.1", self.metrics_port), 5)

    def test_keep_a_proxy_from_starting_whose_port_is_in_use(self):
        second = {**self.configuration(), "Listen": {"Addresses": ["127.0.0.1"], "Port": free_port()},
                  "Audit": {"File": str(self.folder / "second.db")}}
        (self.folder / "second.json").write_text(json.dumps(second))
        done = subprocess.run([PROGRAMS / "mux-proxy", "--config", self.folder / "second.json"], capture_output=True,
                              text=True, timeout=60, check=False)
        self.assertEqual((done.returncode, done.stderr), (
            1, f"mux-proxy: cannot serve metrics on 127.0.0.1:{self.metrics_port}: is the port in use?\n"))


class StatusRound(MeasuredSite):
    def test_asks_each_lock_of_the_muxs_file(self):
        wait_until(lambda: len(self.audit("--kind", "request")) >= 3, "three rows", 60)
        rows = self.wait_for_rows(3, "--kind", "request")
        self.assertEqual([(row["lock"], row["operation"], row["result"]) for row in rows],
                         [(lock, "status", "ack") for lock in (5, 6, 7)])
        self.assertEqual({(row["address"], row["client"]) for row in rows}, {("status-round", "")})
        self.assertGreater(self.value("mux_proxy_lock_status_timestamp_seconds", gateway=1, lock=7), 1.7e9)

    def test_raises_one_event_when_a_battery_gets_low(self):
        client = self.client()
        for lock in (6, 6, 7, 5):
            self.assertEqual(result(client.ask(STATUS, lock=lock)), 0)
        for level, lock, is_low in (("warning", 6, 1), ("alarm", 6, 0), ("alarm", 7, 1), ("warning", 5, 0)):
            self.wait_for_value(is_low, "mux_proxy_lock_battery_low", gateway=1, level=level, lock=lock)
        self.wait_for_value(2, "mux_proxy_events_total", event="battery-low", gateway=1)
        self.assertEqual([(row["lock"], row["operation"], row["remark"]) for row in self.audit("--kind", "event")],
                         [(6, "battery-low", "warning level"), (7, "battery-low", "alarm level")])

    def test_shows_what_a_battery_has_at_least(self):
        client = self.client()
        client.ask(STATUS)
        self.assertEqual(self.value("mux_proxy_lock_battery_ratio", gateway=1, lock=5), 0.95)
        self.simulator.command("battery 5 1 0")
        self.simulator.wait_for("lock 5 now reports")
        client.ask(STATUS)
        self.assertEqual(self.value("mux_proxy_lock_battery_ratio", gateway=1, lock=5), 0)


if __name__ == "__main__":
    unittest.main()
