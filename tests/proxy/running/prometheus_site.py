"""A running site whose proxy has metrics and a status round."""
import re
import urllib.request

from proxy_site import Site, free_port, wait_until


class MeasuredSite(Site):
    """The battery of lock 6 is at the warning level, that of lock 7 at the alarm level."""

    settings = {6: {"BatteryWarning": True}, 7: {"BatteryWarning": True, "BatteryAlarm": True}}

    def setUp(self):
        self.metrics_port = free_port()
        super().setUp()

    def sections(self):
        return {"Metrics": {"Port": self.metrics_port}, "StatusRound": {"Hours": 6}}

    def configuration(self):
        return {**super().configuration(), **self.sections()}

    def text(self):
        with urllib.request.urlopen(f"http://127.0.0.1:{self.metrics_port}/metrics", timeout=10) as answer:
            return answer.read().decode()

    def value(self, name, **labels):
        """Of the series with exactly these labels, None without one."""
        inner = ",".join(f'{key}="{labels[key]}"' for key in sorted(labels))
        found = re.search(rf"^{re.escape(name + (f'{{{inner}}}' if inner else ''))} (\S+)$", self.text(), re.MULTILINE)
        return float(found[1]) if found else None

    def wait_for_value(self, expected, name, deadline=30.0, **labels):
        wait_until(lambda: self.value(name, **labels) == expected, f"{name} {labels} {expected}", deadline)
