"""The dashboard and the alerts on a real Prometheus that scrapes a running proxy: a query whose series do not exist, or
have other labels, finds nothing."""
import json
import re
import unittest
import urllib.error
import urllib.parse
import urllib.request

from prometheus_site import MeasuredSite
from proxy_site import ROOT, STATUS, free_port, result, wait_until

SHIPPED = ROOT / "packaging" / "prometheus"
VARIABLES = {"$site": "hall", "$gateway": "1", "$__rate_interval": "1m", "${datasource}": "x"}


def filled_in(query):
    for name, value in VARIABLES.items():
        query = query.replace(name, value)
    return query


class PrometheusSite(MeasuredSite):
    def sections(self):
        # Nothing is at the broker's port: what is counted about it is there all the same.
        return {**super().sections(), "Mqtt": {"Host": "127.0.0.1", "Port": free_port(), "Site": "hall"}}

    def setUp(self):
        super().setUp()
        self.port = free_port()
        self.start_prometheus()
        client = self.client()
        for lock in (5, 6, 7):
            self.assertEqual(result(client.ask(STATUS, lock=lock)), 0)
        self.simulator.command("card 5 04A1B2C3")

    def start_prometheus(self):
        text = (SHIPPED / "prometheus.yml").read_text().replace("15s", "1s")
        text = text.replace("127.0.0.1:9556", f"127.0.0.1:{self.metrics_port}")
        self.assertIn(str(self.metrics_port), text)
        (self.folder / "prometheus.yml").write_text(text)
        (self.folder / "dw-hal-mux-proxy.rules.yml").symlink_to(SHIPPED / "dw-hal-mux-proxy.rules.yml")
        self.start("prometheus", f"--config.file={self.folder}/prometheus.yml",
                   f"--storage.tsdb.path={self.folder}/prometheus", f"--web.listen-address=127.0.0.1:{self.port}")
        wait_until(self.is_ready, "Prometheus ready", 60)

    def is_ready(self):
        try:
            return bool(self.ask("query", query="up == 1")["result"])
        except (OSError, AssertionError):
            return False

    def ask(self, path, **parameters):
        address = f"http://127.0.0.1:{self.port}/api/v1/{path}?{urllib.parse.urlencode(parameters, doseq=True)}"
        try:
            with urllib.request.urlopen(address, timeout=10) as answer:
                return json.load(answer)["data"]
        except urllib.error.HTTPError as error:
            raise AssertionError(f"{parameters}: {error.read().decode()}") from None

    def wait_for_data(self, query):
        def has_data():
            return any(series["value"][1] != "NaN" for series in self.ask("query", query=query)["result"])

        wait_until(has_data, f"data for {query}")


class Dashboard(PrometheusSite):
    dashboard = json.loads((SHIPPED / "dashboard.json").read_text())

    def test_every_query_has_data(self):
        queries = [target["expr"] for panel in self.dashboard["panels"] for target in panel.get("targets", [])]
        self.assertGreater(len(queries), 20)
        for query in queries:
            self.wait_for_data(filled_in(query))

    def test_every_variable_has_values(self):
        expected = {"site": ["hall"], "gateway": ["1", "other"]}
        queries = {variable["name"]: variable["query"]["query"]
                   for variable in self.dashboard["templating"]["list"] if variable["type"] == "query"}
        self.assertEqual(set(queries), set(expected))
        for name, query in queries.items():
            series, label = re.fullmatch(r"label_values\((.*), (\w+)\)", query).groups()
            self.wait_for_data(filled_in(series))
            self.assertEqual(self.ask(f"label/{label}/values", **{"match[]": filled_in(series)}), expected[name])


class Alerts(PrometheusSite):
    def loaded(self):
        return [rule for group in self.ask("rules")["groups"] for rule in group["rules"]]

    def test_every_expression_works_and_every_series_in_it_exists(self):
        wait_until(lambda: all(rule["health"] != "unknown" for rule in self.loaded()), "rules evaluated")
        rules = self.loaded()
        self.assertGreater(len(rules), 15)
        for rule in rules:
            self.assertEqual((rule["health"], rule.get("lastError")), ("ok", None), rule["name"])
            selectors = re.findall(r"\b(?:up|mux_proxy_\w+)(?:{[^}]*})?", rule["query"])
            self.assertTrue(selectors, rule["query"])
            for selector in selectors:
                self.wait_for_data(selector)

    def test_batteries_are_named(self):
        def summaries():
            return {alert["annotations"]["summary"] for alert in self.ask("alerts")["alerts"]
                    if alert["state"] == "firing"}

        wait_until(lambda: summaries() == {"hall: the battery of lock 6 of gateway 1 is low",
                                           "hall: the battery of lock 7 of gateway 1 is nearly empty"},
                   "alerts about two batteries and nothing else")


class Table(PrometheusSite):
    def test_the_documents_name_every_series(self):
        section = (ROOT / "docs" / "fleet.md").read_text().split("\n## Metrics\n")[1]
        names = [name for row in re.findall(r"^\| (`[^|]*) \| (?:counter|gauge|histogram)", section, re.MULTILINE)
                 for name in re.findall(r"`(\w+)`", row)]

        def served():
            found = self.ask("label/__name__/values", **{"match[]": '{__name__=~"mux_proxy_.*"}'})
            return {re.sub(r"(_seconds)_(bucket|count|sum)$", r"\1", name) for name in found}

        wait_until(lambda: served() == {f"mux_proxy_{name}" for name in names}, f"series {sorted(names)}")


if __name__ == "__main__":
    unittest.main()
