"""The centre of scripts/fleet, and the server of its metrics."""
import collections
import json
import os
import pathlib
import time

from brokers import PREFIX, BrokerClient
from fleet_site import CENTRE
from programs import Program, free_port, wait_until

class Centre(BrokerClient):
    """Who sees everything and asks: what came, and when."""

    def __init__(self, broker, authority):
        self.seen = collections.Counter()
        self.cards = {}
        # By site and kind of message: what came, each once.
        self.numbered = {}
        self.answers = {}
        self.asked = {}
        self.not_taken = 0
        self.status = {}
        self.system = {}
        super().__init__(broker, authority, CENTRE, f"{PREFIX}/#", "$SYS/broker/bytes/#", "$SYS/broker/messages/#")

    def take(self, message):
        levels = message.topic.split("/")
        if levels[0] == "$SYS":
            self.system["/".join(levels[2:])] = message.payload
        elif levels[-1] == "status":
            self.status[levels[1]] = message.payload
        elif levels[-1] in ("event", "result") or levels[2] == "reply":
            self.take_numbered(levels, message, json.loads(message.payload))

    def take_numbered(self, levels, message, content):
        self.seen[content["id"]] += 1
        self.numbered.setdefault((levels[1], levels[-1] if levels[2] == "gateway" else "reply"), set()).add(content["id"])
        if levels[-1] == "event":
            self.cards.setdefault((levels[1], content.get("card")), message.time)
        elif levels[2] == "reply":
            self.answers.setdefault(message.correlation, (message.time, content["result"]))

    def ask(self, site, lock, operation):
        number = str(len(self.asked) + self.not_taken + 1)
        if self.publish(f"{PREFIX}/{site}/gateway/1/lock/{lock}/command/{CENTRE}",
                        json.dumps({"operation": operation, "iat": time.time()}),
                        response_topic=f"{PREFIX}/{site}/reply/{CENTRE}", correlation=number):
            self.asked[number] = time.time()
        else:
            self.not_taken += 1

    def count(self, site, kind):
        return len(self.numbered.get((site, kind), ()))

    def wait_for_sites(self, names, deadline):
        wait_until(lambda: all(self.status.get(name) == "online" for name in names), "all sites online", deadline)


class Prometheus:
    def __init__(self, folder, sites):
        self.port = free_port()
        targets = [{"targets": [f"127.0.0.1:{site.metrics_port}"], "labels": {"site": site.name}} for site in sites]
        (folder / "prometheus.json").write_text(json.dumps({
            "global": {"scrape_interval": "5s"},
            "scrape_configs": [{"job_name": "mux-proxy", "static_configs": targets}]}))
        self.program = Program("prometheus", f"--config.file={folder / 'prometheus.json'}",
                               f"--storage.tsdb.path={folder / 'prometheus'}",
                               f"--web.listen-address=127.0.0.1:{self.port}", keep=1000)
        self.program.wait_for("Server is ready")

    def kill(self):
        self.program.kill()


def resources(process):
    """Seconds of processor time and resident KiB."""
    folder = pathlib.Path(f"/proc/{process.pid}")
    values = (folder / "stat").read_text().rsplit(")", 1)[1].split()
    seconds = (int(values[11]) + int(values[12])) / os.sysconf("SC_CLK_TCK")
    status = (folder / "status").read_text()
    return seconds, int(next(line for line in status.splitlines() if line.startswith("VmRSS")).split()[1])
