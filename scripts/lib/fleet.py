#!/usr/bin/env python3
"""The fleet of scripts/fleet: python3 scripts/lib/fleet.py PROGRAMS CERTIFICATES_SCRIPT FOLDER SITES MINUTES."""
import collections
import itertools
import pathlib
import shutil
import statistics
import subprocess
import sys
import threading
import time

from brokers import Broker
from fleet_centre import Centre, Prometheus, resources
from fleet_site import CENTRE, LOCKS, Site
from programs import PlayError, wait_until

# How often each site is asked something, and how often a card is presented there. A gateway's events wait up to 11 s
# where two of its frames meet.
COMMAND_PERIOD = 5.0
CARD_PERIOD = 20.0
OPERATIONS = ("open", "status", "close")
LONGEST_ANSWER = 25.0
# For what waited to reach the centre at the end.
LAST_DEADLINE = 90.0


def quantiles(values):
    if not values:
        return "none"
    ordered = sorted(values)
    return f"{statistics.median(ordered):.2f} / {ordered[int(len(ordered) * 0.95)]:.2f} / {ordered[-1]:.2f} s"


class Fleet:
    def __init__(self):
        self.parts, self.sites, self.killed = [], [], []
        self.numbers = itertools.count(1)
        self.is_over = threading.Event()

    def add(self, part):
        self.parts.append(part)
        return part

    def start(self, programs, certificates, folder, count):
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        authority = folder / "authority"
        names = [f"site-{number}" for number in range(1, count + 1)]
        for arguments in (("server", "localhost"), *(("client", name) for name in (CENTRE, *names))):
            subprocess.run([certificates, authority, *arguments], check=True, stdout=subprocess.DEVNULL)
        self.broker = self.add(Broker(folder, authority, [CENTRE]))
        self.centre = self.add(Centre(self.broker, authority))
        for name in names:
            self.sites.append(self.add(Site(programs, folder, authority, name, self.broker.port)))
        self.add(Prometheus(folder, self.sites))
        self.centre.wait_for_sites(names, 60.0)
        self.broker.save_sessions()

    def every(self, period, work):
        """Does it to the sites in turn, each once in a period."""
        for site in itertools.cycle(self.sites):
            if self.is_over.wait(period / len(self.sites)):
                return
            work(site)

    def ask(self, site):
        number = next(self.numbers)
        self.centre.ask(site.name, LOCKS[number % len(LOCKS)], OPERATIONS[number // len(LOCKS) % len(OPERATIONS)])

    def present(self, site):
        site.present(LOCKS[len(site.raised) % len(LOCKS)], f"{0x04A00000 + len(site.raised):08X}")

    def disturb(self, seconds):
        """Everything fails once, the broker first, each in a fifth of the time."""
        first, second = self.sites[0], self.sites[-1]
        for what, fail in (("broker", lambda: self.broker.restart(5.0)), ("Mux of " + first.name, first.mux.crash),
                           ("gateway of " + second.name, second.restart_simulator),
                           ("proxy of " + first.name, first.proxy.crash)):
            if self.is_over.wait(seconds / 5):
                return
            fail()
            self.killed.append(what)

    def measure(self):
        return {site.name: [resources(program.process) for program in
                            (site.proxy.program, site.mux.program)] for site in self.sites}

    def run(self, seconds):
        works = [threading.Thread(target=work, args=arguments) for work, arguments in
                 ((self.every, (COMMAND_PERIOD, self.ask)), (self.every, (CARD_PERIOD, self.present)),
                  (self.disturb, (seconds,)))]
        for work in works:
            work.start()
        time.sleep(seconds)
        self.is_over.set()
        for work in works:
            work.join()
        self.centre.wait_for_sites([site.name for site in self.sites], 90.0)
        wait_until(lambda: all(site.metric("mux_proxy_messages_waiting") == 0 for site in self.sites),
                   "no message waiting", LAST_DEADLINE)

    def cards(self):
        """Of all cards raised: those that no proxy heard of, and those that the centre did not."""
        before, behind, delays = [], [], []
        for site in self.sites:
            in_audit = site.cards_in_audit()
            for digits, raised in site.raised.items():
                arrived = self.centre.cards.get((site.name, digits))
                if arrived is not None:
                    delays.append(arrived - raised)
                elif digits in in_audit:
                    behind.append(digits)
                else:
                    before.append(digits)
        return before, behind, delays

    def results_lost(self):
        """Results and answers that stand in the audits and did not reach the centre."""
        lost = [0, 0]
        for site in self.sites:
            for index, (count, kind) in enumerate(zip(site.results(), ("result", "reply"))):
                lost[index] += max(0, count - self.centre.count(site.name, kind))
        return lost

    def is_all_there(self):
        return not self.cards()[1] and not any(self.results_lost())

    def report(self, seconds):
        try:
            wait_until(self.is_all_there, "everything at the centre", 30.0)
        except PlayError:
            pass  # the report says what is missing
        before, behind, delays = self.cards()
        centre = self.centre
        results = collections.Counter(result for _, result in centre.answers.values())
        answer_delays = [when - centre.asked[number] for number, (when, _) in centre.answers.items()
                         if number in centre.asked]
        repeated = sum(count - 1 for count in centre.seen.values())
        rows = [
            ("sites, seconds", f"{len(self.sites)}, {seconds:.0f}"),
            ("killed and started again", ", ".join(self.killed)),
            ("commands: asked, not taken by the broker", f"{len(centre.asked)}, {centre.not_taken}"),
            ("commands: answered", f"{len(centre.answers)} ({', '.join(f'{n} {r}' for r, n in results.most_common())})"),
            ("commands: without a proxy that heard them", len(centre.asked) - len(centre.answers)),
            ("commands: delay, median / 95 % / longest", quantiles(answer_delays)),
            ("cards: raised, arrived", f"{sum(len(site.raised) for site in self.sites)}, {len(delays)}"),
            ("cards: delay, median / 95 % / longest", quantiles(delays)),
            ("cards: lost before a proxy (Mux or gateway down)", len(before)),
            ("cards: lost behind a proxy", len(behind)),
            ("results, answers: lost behind a proxy", ", ".join(map(str, self.results_lost()))),
            ("messages at the centre, of these repeated", f"{sum(centre.seen.values())}, {repeated}"),
            ("messages dropped by proxies",
             int(sum(site.metric("mux_proxy_messages_dropped_total") or 0 for site in self.sites))),
        ]
        for name, value in rows:
            print(f"{name:<52} {value}")
        self.print_resources(seconds)
        return self.is_all_there()

    def print_resources(self, seconds):
        after = self.measure()
        for index, name in enumerate(("proxy", "Mux")):
            memory = [values[index][1] / 1024 for values in after.values()]
            print(f"{'memory of a ' + name + ', mean / most':<52} {statistics.mean(memory):.1f} / {max(memory):.1f} MiB")
        # Of programs that ran all the time.
        steady = [after[site.name][0][0] for site in self.sites if site.proxy.starts == 1]
        if steady:
            print(f"{'processor time of a proxy':<52} {100 * statistics.mean(steady) / seconds:.2f} % of a core")
        used, memory = resources(self.broker.program.process)
        print(f"{'broker: memory, processor time since its restart':<52} {memory / 1024:.1f} MiB, {used:.1f} s")
        for topic in ("bytes/received", "bytes/sent", "messages/received", "messages/sent"):
            print(f"{'broker: ' + topic:<52} {self.centre.system.get(topic, '?')}")

    def end(self):
        for site in self.sites:
            site.end()

    def kill(self):
        for part in reversed(self.parts):
            part.kill()


def main():
    programs, certificates, folder = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
    count, seconds = int(sys.argv[4]), 60.0 * int(sys.argv[5])
    fleet = Fleet()
    try:
        fleet.start(programs, certificates, folder, count)
        fleet.run(seconds)
        is_whole = fleet.report(seconds)
        fleet.end()
        return 0 if is_whole else 1
    except PlayError as error:
        print(f"fleet failed: {error}")
        return 1
    finally:
        fleet.kill()


if __name__ == "__main__":
    sys.exit(main())
