"""Everything at once: clients that ask, that may do little, that come and go, that behave badly in every known way;
events; a Mux that is killed; certificates and rights read anew; the audit read beside it. Each request gets its one
answer and its row. The same with the page, where others look and operate doors.

MUX_SOAK_SECONDS is how long, 8 by default.
"""
import collections
import http.client
import itertools
import json
import os
import random
import signal
import sys
import threading
import time
import unittest

from proxy_site import CLOSE, MUX_AWAY, NO_ANSWER, NOT_ALLOWED, NOT_SENT, NOT_VALID, OPEN, ROOT, STATUS, PlayError, Site
from proxy_site import result
from web_site import PASSWORD, Browser, PageSite

sys.path.insert(0, str(ROOT / "scripts" / "lib"))
import proxy_neighbours  # noqa: E402

SECONDS = float(os.environ.get("MUX_SOAK_SECONDS", "8"))
ASKERS = 3
# Well above the 21 s by which the proxy has answered.
ANSWER_DEADLINE = 45.0
REPORTS = ("Sanitizer", "runtime error:")
EVENT_PREFIX = "lockEventMessage-"
BEN, MALLORY = ("ben", PASSWORD), ("mallory", "wrong")

# What each kind of request may be answered with while gateways are silent and the Mux is killed.
POSSIBLE = {
    "allowed": (0, NOT_SENT, NO_ANSWER, MUX_AWAY),
    "not allowed": (NOT_ALLOWED,),
    "not valid": (NOT_VALID,),
}


class Asker(threading.Thread):
    """One connection from beginning to end, one request at a time."""

    def __init__(self, site, name):
        super().__init__(daemon=True)
        self.name, self.client = name, site.client(name, deadline=ANSWER_DEADLINE)
        self.is_ending = False
        self.asked, self.findings = 0, []

    def run(self):
        try:
            while not self.is_ending:
                self.ask(random.choice(list(POSSIBLE)))
                time.sleep(random.uniform(0, 0.2))
        except (OSError, PlayError) as error:
            self.findings.append(f"{self.name}: {error!r}")

    def ask(self, kind):
        message_id = f"{self.name}-{self.asked}"
        self.asked += 1
        gateway = 3 if kind == "not allowed" else random.choice((1, 2))
        text = {"MessageID": message_id, "MessageCode": random.choice((OPEN, CLOSE, STATUS)),
                "Data": {"gatewayID": gateway, "lockID": random.choice((5, 6, 7))}}
        if kind == "not valid":
            del text["Data"]["lockID"]
        self.client.send(json.dumps(text))
        message = self.receive()
        if message["MessageID"] != message_id or result(message) not in POSSIBLE[kind]:
            self.findings.append(f"{self.name} asked {text} and got {message}")

    def receive(self):
        while True:
            message = self.client.receive()
            if not message["MessageID"].startswith(EVENT_PREFIX):
                return message


class Passer(threading.Thread):
    """Connects, asks, and goes with or without its answer."""

    def __init__(self, site):
        super().__init__(daemon=True)
        self.site, self.is_ending, self.findings = site, False, []

    def run(self):
        while not self.is_ending:
            try:
                client = self.site.client("crowd")
                client.request(STATUS, gateway=random.choice((1, 2, 3)))
                if random.random() < 0.5:
                    client.receive()
                client.close()
            except (OSError, PlayError):
                pass  # a crowd may meet the limits
            time.sleep(random.uniform(0, 0.3))


class PageUser(threading.Thread):
    """Somebody with a browser. Whatever goes wrong beyond what is expected is a finding."""

    def __init__(self, site):
        super().__init__(daemon=True)
        self.site, self.is_ending, self.findings = site, False, []

    def run(self):
        try:
            while not self.is_ending:
                self.act()
                time.sleep(random.uniform(0, 0.4))
        except Exception as error:  # pylint: disable=broad-exception-caught
            self.findings.append(repr(error))


class Viewer(PageUser):
    """A page that stays open, and operates doors one after the other."""

    RESULTS = ("ack", "not-sent", "no-answer", "mux-away")

    def __init__(self, site):
        super().__init__(site)
        self.name, self.browser, self.asked = "anna", site.logged_in(), 0
        self.browser.connection.sock.settimeout(ANSWER_DEADLINE)
        self.stream = site.stream(self.browser)

    def act(self):
        answer = self.browser.order(random.choice(("open", "close", "status")), lock=random.choice((5, 6, 7)),
                                    gateway=random.choice((1, 2)))
        self.asked += 1
        if answer[0] != 200 or answer[1]["result"] not in self.RESULTS:
            self.findings.append(f"the page got {answer}")
        if self.stream.is_ended:
            self.findings.append("the stream of the page has ended")


class Visitor(PageUser):
    """Comes, looks around, and leaves a stream that it never read; logs in, or fails to, when it has no session, as one
    of `people` after the other."""

    def __init__(self, site, *people):
        super().__init__(site)
        self.people, self.cookie = itertools.cycle(people), None
        self.statuses = collections.Counter()

    def act(self):
        browser = Browser(self.site)
        browser.cookie = self.cookie
        try:
            self.visit(browser)
        except (OSError, http.client.HTTPException):
            self.statuses["cut off"] += 1  # visitors may meet the limits
        browser.close()
        self.cookie = browser.cookie if random.random() < 0.9 else None

    def visit(self, browser):
        if browser.cookie is None:
            self.statuses[browser.log_in(*next(self.people))[0]] += 1
        for path in ("/", "/api/cards", "/api/audit.csv", "/../users", "/api/live"):
            browser.connection.request("GET", path, headers={"Host": browser.host, "Cookie": browser.cookie or ""})
            if path != "/api/live":
                browser.connection.getresponse().read()


class Crowded(Site):
    gateways = 3
    askers = tuple(f"asker-{number}" for number in range(ASKERS))
    clients = askers + ("crowd", "leaver")
    rules = [{"Clients": list(askers), "Rights": ["open", "close", "status", "events"], "Gateways": [1, 2], "Locks": "all"},
             {"Clients": ["crowd", "leaver"], "Rights": ["status", "events"], "Gateways": "all", "Locks": "all"}]

    def configuration(self):
        limits = {"Connections": 2000, "ConnectionsPerClient": 2000, "ConnectionsPerAddress": 2000}
        return {**super().configuration(), "Limits": limits}

    def start_neighbours(self):
        files = [self.authority / name for name in ("authority.crt", "clients/crowd.crt", "clients/crowd.key")]
        return [self.start(sys.executable, "-B", proxy_neighbours.__file__, kind, str(self.proxy_port), *map(str, files))
                for kind in proxy_neighbours.KINDS]

    def restart_mux(self):
        """Its gateways may be silent just then."""
        self.mux.kill()
        self.start_mux(awaits_gateways=False)

    def read_anew(self):
        self.proxy.process.send_signal(signal.SIGHUP)

    def raise_event(self):
        self.simulator.command(f"card {random.choice((5, 6, 7))} 04A1B2C3")

    def go_wrong(self):
        self.simulator.command(random.choice(("fault silence 1", "fault delay 700", "fault off", "use 1", "use 2", "use 3")))

    def look_into_audit(self):
        self.assertGreater(len(self.audit("--limit", "50")), 0)

    def disturb(self):
        """Every action again and again, each in a period of its own."""
        periods = {self.restart_mux: 12, self.read_anew: 1.5, self.raise_event: 0.5, self.go_wrong: 2,
                   self.look_into_audit: 3}
        due = {action: time.monotonic() + period for action, period in periods.items()}
        end = time.monotonic() + SECONDS
        while time.monotonic() < end:
            action = min(due, key=due.get)
            time.sleep(max(0, due[action] - time.monotonic()))
            action()
            due[action] = time.monotonic() + periods[action]
            self.assertIsNone(self.proxy.process.poll())

    def check_rows(self, askers):
        rows = collections.Counter(row["client"] for row in self.audit("--kind", "request"))
        asked = collections.Counter()
        for asker in askers:
            asked[asker.name] += asker.asked
        self.assertEqual({name: rows[name] for name in asked}, asked)

    def check_reports(self):
        """Of a sanitizer, if one is built in."""
        for program in self.programs:
            lines = list(program.lines)
            reports = [place for place, line in enumerate(lines) if any(report in line for report in REPORTS)]
            self.assertEqual(reports, [], "\n".join(lines[place] for report in reports[:1]
                                                    for place in range(report, min(report + 60, len(lines)))))

    def workers(self):
        """Those whose every request counts, and the others."""
        return [Asker(self, name) for name in self.askers], [Passer(self) for _ in range(3)]

    def end(self, threads):
        for thread in threads:
            thread.is_ending = True
        for thread in threads:
            thread.join(60)
            self.assertFalse(thread.is_alive())

    def everything_at_once(self):
        askers, others = self.workers()
        neighbours = self.start_neighbours()
        for thread in askers + others:
            thread.start()
        self.disturb()
        for neighbour in neighbours:
            neighbour.kill()
        self.end(askers + others)
        self.assertEqual([finding for thread in askers + others for finding in thread.findings], [])
        self.proxy.stop(signal.SIGTERM, 0)
        self.check_rows(askers)
        self.check_reports()
        self.mux.stop(signal.SIGQUIT, 0)
        print("requests:", sum(asker.asked for asker in askers))
        return others


class Soak(Crowded):
    def test_everything_at_once(self):
        self.everything_at_once()


class SoakOfPages(Crowded, PageSite):
    """The same with the page. A name has a number of sessions: the viewers' is theirs alone."""

    rules = Crowded.rules + [
        {"Clients": ["anna"], "Rights": ["open", "close", "status", "events"], "Gateways": [1, 2], "Locks": "all"},
        {"Clients": ["ben"], "Rights": ["status", "events"], "Gateways": "all", "Locks": "all"}]

    def workers(self):
        askers, others = super().workers()
        return askers + [Viewer(self) for _ in range(6)], others + [Visitor(self, BEN, MALLORY), Visitor(self, MALLORY, BEN)]

    def web(self, **changes):
        return super().web(Auditors=["anna", "ben"], **changes)

    def test_everything_at_once(self):
        statuses = collections.Counter()
        for thread in self.everything_at_once():
            statuses.update(getattr(thread, "statuses", {}))
        self.assertGreater(statuses[200], 0, statuses)
        self.assertGreater(statuses[401] + statuses[403] + statuses[429], 0, statuses)
        print("log-ins of the visitors:", dict(statuses))


if __name__ == "__main__":
    unittest.main()
