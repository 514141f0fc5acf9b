#!/usr/bin/env python3
"""The measurements of scripts/benchmark --only proxy: python3 scripts/lib/proxy_benchmark.py BUILD_FOLDER RESULT.json.

A client asks the Mux directly, through stunnel and through mux-proxy, in turns, at random moments; what each adds is the
difference of the medians. Requests go to a gateway that is not configured: the Mux refuses them at once, so that no pace
of a gateway hides what is added. Then TLS clients by the hundred: handshakes, memory, idle CPU time. Then a client beside
others that behave badly.
"""
import json
import os
import pathlib
import random
import shutil
import socket
import ssl
import statistics
import subprocess
import sys
import tempfile
import time

import proxy_neighbours
from brokers import Broker
from programs import Client, Program, free_port

ROUNDS = 4
REQUESTS = 300
HANDSHAKES = 300
IDLE_SECONDS = 20
REQUESTS_BESIDE_NEIGHBOURS = 400
# By their names: what one name may have, all its connections share.
CLIENTS = GOOD, BAD = ["bench", "neighbour"]
MOST_BESIDE_NEIGHBOURS = 50.0
UNKNOWN_GATEWAY = 99
SITE = "site"

# Figure, unit, the most it may be.
TARGETS = [
    ("status request, added by the proxy", "ms", 1.0),
    ("opening, added beyond a status request, less one fsync", "ms", 1.0),
    ("memory without clients", "KiB", 12 * 1024),
    ("memory per client of 500", "KiB", 40),
    ("idle CPU with 50 clients", "%", 0.1),
    ("memory with broker and metrics", "KiB", 16 * 1024),
    ("idle CPU with broker and metrics", "%", 0.2),
] + [(f"longest wait beside clients {kind}", "ms", MOST_BESIDE_NEIGHBOURS) for kind in proxy_neighbours.KINDS]


def request(code):
    return json.dumps({"MessageID": str(random.getrandbits(64)), "MessageCode": code,
                       "Data": {"gatewayID": UNKNOWN_GATEWAY, "lockID": 5}})


class TlsClient(Client):
    def __init__(self, port, context):
        super().__init__(port)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.socket = context.wrap_socket(self.socket, server_hostname="localhost")


class Bench:
    def __init__(self, build, folder):
        self.build, self.folder = build, folder
        self.programs, self.figures = [], {}
        self.mux_port, self.proxy_port, self.tunnel_port = free_port(), free_port(), free_port()

    def start(self, *command):
        self.programs.append(Program(*command, keep=50))
        return self.programs[-1]

    def start_all(self):
        self.certificates = self.folder / "ca"
        script = pathlib.Path(__file__).resolve().parents[2] / "proxy/certificates/mux-proxy-certificates"
        for arguments in (["server", "localhost"], *(["client", name] for name in (*CLIENTS, SITE))):
            subprocess.run([str(script), str(self.certificates), *arguments], check=True, stdout=subprocess.DEVNULL)
        configuration = self.folder / "mux.json"
        configuration.write_text('{"Enabled": true, "Gateways": []}')
        self.start(str(self.build / "dw-hal-mux-brenk"), "--port", f"--port={self.mux_port}", "--configFile",
                   str(configuration), "--logFile", str(self.folder / "mux.log"))
        self.start_proxy()
        self.start_tunnel()
        self.context = ssl.create_default_context(cafile=self.certificates / "authority.crt")
        self.context.load_cert_chain(*self.certificate(GOOD))

    def certificate(self, name):
        return [self.certificates / "clients" / f"{name}.{kind}" for kind in ("crt", "key")]

    def start_proxy(self):
        file = self.folder / "proxy.json"
        file.write_text(json.dumps(self.configuration()))
        self.proxy = self.start(str(self.build / "mux-proxy"), "--config", str(file))
        self.proxy.wait_for("Connected to the Mux")
        time.sleep(1.1)  # until it sends

    def configuration(self):
        return {
            "Listen": {"Addresses": ["127.0.0.1"], "Port": self.proxy_port}, "Mux": {"Port": self.mux_port},
            "Certificates": {"Certificate": str(self.certificates / "server.crt"),
                             "Key": str(self.certificates / "server.key"),
                             "Authority": str(self.certificates / "authority.crt"),
                             "RevocationList": str(self.certificates / "revoked.crl")},
            "Limits": {"Connections": 2000, "ConnectionsPerClient": 2000, "ConnectionsPerAddress": 2000},
            "Audit": {"File": str(self.folder / "audit.db")},
            "Rules": [{"Clients": CLIENTS, "Rights": ["open", "status"], "Gateways": "all", "Locks": "all"}]}

    def start_tunnel(self):
        settings = self.folder / "stunnel.conf"
        settings.write_text(f"""foreground = yes
pid =
debug = notice
[mux]
accept = 127.0.0.1:{self.tunnel_port}
connect = 127.0.0.1:{self.mux_port}
CAfile = {self.certificates}/authority.crt
cert = {self.certificates}/server.crt
key = {self.certificates}/server.key
verifyChain = yes
""")
        tunnel = self.start(shutil.which("stunnel4") or shutil.which("stunnel"), str(settings))
        tunnel.wait_for("Configuration successful")

    def latency(self, client, code):
        time.sleep(random.uniform(0.011, 0.015))  # below the pace at which the proxy reads a client
        begin = time.perf_counter()
        client.send(request(code))
        client.receive()
        return (time.perf_counter() - begin) * 1000

    def latencies(self, client, code):
        return [self.latency(client, code) for _ in range(REQUESTS)]

    def measure_latencies(self):
        clients = {"direct": Client(self.mux_port), "stunnel": TlsClient(self.tunnel_port, self.context),
                   "proxy": TlsClient(self.proxy_port, self.context)}
        medians = {}
        for _ in range(ROUNDS):
            for name, client in clients.items():
                medians.setdefault(name, []).append(statistics.median(self.latencies(client, 12)))
            medians.setdefault("opening", []).append(statistics.median(self.latencies(clients["proxy"], 10)))
        median = {name: statistics.median(values) for name, values in medians.items()}
        self.figures["status request, direct"] = median["direct"]
        self.figures["status request, added by stunnel"] = median["stunnel"] - median["direct"]
        self.figures["status request, added by the proxy"] = median["proxy"] - median["direct"]
        self.figures["one fsync"] = self.fsync()
        self.figures["opening, added beyond a status request, less one fsync"] = (
            median["opening"] - median["proxy"] - self.figures["one fsync"])
        for client in clients.values():
            client.close()

    def fsync(self):
        times = []
        with open(self.folder / "fsync", "wb") as file:
            for _ in range(100):
                file.write(b"x" * 4096)
                file.flush()
                begin = time.perf_counter()
                os.fdatasync(file.fileno())
                times.append((time.perf_counter() - begin) * 1000)
        return statistics.median(times)

    def measure_services(self):
        """A second proxy, with everything beside the entrance."""
        broker = Broker(self.folder, self.certificates)
        self.programs.append(broker)
        certificate, key = map(str, self.certificate(SITE))
        file = self.folder / "services.json"
        file.write_text(json.dumps({
            **self.configuration(), "Listen": {"Addresses": ["127.0.0.1"], "Port": free_port()},
            "Audit": {"File": str(self.folder / "services.db")}, "Metrics": {"Port": free_port()},
            "StatusRound": {},
            "Mqtt": {"Host": "localhost", "Port": broker.port, "Authority": str(self.certificates / "authority.crt"),
                     "Certificate": certificate, "Key": key, "Site": SITE}}))
        proxy = self.start(str(self.build / "mux-proxy"), "--config", str(file))
        proxy.wait_for("Connected to the broker")
        cpu = self.cpu_seconds(proxy)
        time.sleep(IDLE_SECONDS)
        self.figures["memory with broker and metrics"] = self.resident(proxy)
        self.figures["idle CPU with broker and metrics"] = (self.cpu_seconds(proxy) - cpu) / IDLE_SECONDS * 100
        proxy.kill()

    def cpu_seconds(self, program=None):
        fields = pathlib.Path(f"/proc/{(program or self.proxy).process.pid}/stat").read_text().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def resident(self, program=None):
        rollup = pathlib.Path(f"/proc/{(program or self.proxy).process.pid}/smaps_rollup").read_text()
        return int(next(line for line in rollup.splitlines() if line.startswith("Rss:")).split()[1])

    def measure_handshakes(self):
        begin, cpu = time.perf_counter(), self.cpu_seconds()
        for _ in range(HANDSHAKES):
            client = TlsClient(self.proxy_port, self.context)
            client.send(request(12))
            client.receive()
            client.close()
        self.figures["handshakes a second, each with a request"] = HANDSHAKES / (time.perf_counter() - begin)
        self.figures["CPU time of the proxy for each of these"] = (self.cpu_seconds() - cpu) * 1000 / HANDSHAKES

    def measure_memory(self):
        clients = []
        none = self.resident()
        self.figures["memory without clients"] = none
        for count in (50, 500):
            while len(clients) < count:
                clients.append(TlsClient(self.proxy_port, self.context))
            for client in clients[-3:]:
                client.send("[]")
                client.receive()
            self.figures[f"memory with {count} clients"] = self.resident()
            if count == 50:
                self.measure_idle()
        self.figures["memory per client of 500"] = (self.resident() - none) / 500
        for client in clients:
            client.close()

    def measure_idle(self):
        cpu = self.cpu_seconds()
        time.sleep(IDLE_SECONDS)
        self.figures["idle CPU with 50 clients"] = (self.cpu_seconds() - cpu) / IDLE_SECONDS * 100

    def measure_neighbours(self):
        """Through the proxy and straight to the Mux in turns: both share the machine with the neighbours."""
        own, direct = TlsClient(self.proxy_port, self.context), Client(self.mux_port)
        script = pathlib.Path(proxy_neighbours.__file__)
        certificates = [self.certificates / "authority.crt", *self.certificate(BAD)]
        for kind in proxy_neighbours.KINDS:
            bad = self.start(sys.executable, "-B", str(script), kind, str(self.proxy_port), *map(str, certificates))
            bad.wait_for("ready", deadline=60)
            waits = [(self.latency(own, 12), self.latency(direct, 12)) for _ in range(REQUESTS_BESIDE_NEIGHBOURS)]
            bad.kill()
            through, straight = zip(*waits)
            self.figures[f"99 of 100 waits beside clients {kind}"] = statistics.quantiles(through, n=100)[98]
            self.figures[f"longest beside clients {kind}, direct"] = max(straight)
            self.figures[f"longest wait beside clients {kind}"] = max(through) - max(straight)

    def run(self):
        self.start_all()
        self.measure_memory()
        self.measure_services()
        self.measure_handshakes()
        self.measure_latencies()
        self.measure_neighbours()

    def end(self):
        for program in self.programs:
            program.kill()


def unit_of(name):
    units = {figure: unit for figure, unit, _ in TARGETS}
    if name in units:
        return units[name]
    return "KiB" if name.startswith("memory") else "1/s" if "a second" in name else "ms"


def report(figures):
    for name, value in figures.items():
        print(f"{name:<58} {value:>10.3f} {unit_of(name)}")
    print(f"\n{'Target':<58} {'at most':>10} {'measured':>10}")
    missed = 0
    for name, unit, most in TARGETS:
        is_met = figures[name] <= most
        missed += not is_met
        print(f"{name:<58} {most:>10.2f} {figures[name]:>10.3f} {unit:<4} {'met' if is_met else 'NOT MET'}")
    return missed


def main():
    build, result = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])
    with tempfile.TemporaryDirectory(prefix="mux-proxy-bench-", dir=result.parent) as folder:
        bench = Bench(build, pathlib.Path(folder))
        try:
            bench.run()
        finally:
            bench.end()
    result.write_text(json.dumps(bench.figures, indent=2))
    return 1 if report(bench.figures) else 0


if __name__ == "__main__":
    sys.exit(main())
