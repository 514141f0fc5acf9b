"""The alerts of mux-proxy, by the tool of the real Prometheus."""
import pathlib
import subprocess
import unittest

FOLDER = pathlib.Path(__file__).resolve().parent / "prometheus"
SHIPPED = FOLDER.parents[2] / "packaging" / "prometheus"
RULES = SHIPPED / "dw-hal-mux-proxy.rules.yml"


def promtool(*command):
    done = subprocess.run(["promtool", *command], capture_output=True, text=True, check=False)
    return done.returncode, done.stdout + done.stderr


class Alerts(unittest.TestCase):
    def test_the_example_and_its_rules_are_valid(self):
        status, output = promtool("check", "config", SHIPPED / "prometheus.yml")
        self.assertEqual(status, 0, output)
        self.assertIn("1 rule files found", output)

    def test_each_fires_when_it_should_and_not_before(self):
        status, output = promtool("test", "rules", FOLDER / "rules_test.yml")
        self.assertEqual(status, 0, output)

    def test_each_has_a_test_and_says_what_to_do(self):
        tests = (FOLDER / "rules_test.yml").read_text()
        for alert in RULES.read_text().split("      - alert: ")[1:]:
            name = alert.split("\n")[0]
            self.assertIn(f'alertname="{name}"', tests)
            for member in ("summary", "action"):
                self.assertRegex(alert, rf'(?m)^          {member}: ".+"$', name)
            self.assertRegex(alert, r"(?m)^        labels: {severity: (page|ticket)}$", name)


if __name__ == "__main__":
    unittest.main()
