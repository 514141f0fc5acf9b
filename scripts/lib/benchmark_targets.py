"""What the Mux is held to: one row a target, and how a row is worked out from the figures.

A figure is named after its program and what was measured: "Mux: closed loop median". The Mux's figures are taken with
info severity in a file and the console in /dev/null.
"""
import collections

MIB = 1024.0
KEPT_PAGES = 64.0

# operation: a key of OPERATIONS; operands: what it takes; limit: with comparison and unit.
Target = collections.namedtuple("Target", "text operation operands comparison limit unit")

TARGETS = (
    Target("closed loop, median", "ratio", ("closed loop median",), "<=", 1.10, "x floor"),
    Target("closed loop, p99", "ratio", ("closed loop p99",), "<=", 1.25, "x floor"),
    Target("random phase, median", "value", ("random phase median",), "<=", 1.25, "ms"),
    Target("random phase, p99", "value", ("random phase p99",), "<=", 2.6, "ms"),
    Target("throughput, 1 client", "ratio", ("throughput, clients 1",), ">=", 0.97, "x floor"),
    Target("throughput, 50 clients", "ratio", ("throughput, clients 50",), ">=", 0.97, "x floor"),
    Target("throughput, 500 clients", "ratio", ("throughput, clients 500",), ">=", 0.97, "x floor"),
    Target("through a gateway, median", "value", ("through a gateway, gateways 1 median",), "<=", 302.0, "ms"),
    Target("through 64 gateways, median", "value", ("through a gateway, gateways 64 median",), "<=", 302.0, "ms"),
    Target("frames to a gateway", "value", ("through a gateway, gateways 1, frames of the slowest gateway",),
           ">=", 3.3, "1/s"),
    Target("frames to each of 64 gateways", "value",
           ("through a gateway, gateways 64, frames of the slowest gateway",), ">=", 3.3, "1/s"),
    Target("event to a client, median", "value", ("event, clients 1 median",), "<=", 0.8, "ms"),
    Target("event to a client, p99", "value", ("event, clients 1 p99",), "<=", 2.0, "ms"),
    Target("beside 1 trickling, longest", "value", ("neighbours: 1 trickling max",), "<", 50.0, "ms"),
    Target("beside 1 silent, longest", "value", ("neighbours: 1 silent max",), "<", 50.0, "ms"),
    Target("beside 5 silent, longest", "value", ("neighbours: 5 silent max",), "<", 50.0, "ms"),
    Target("beside 15 silent, longest", "value", ("neighbours: 15 silent max",), "<", 50.0, "ms"),
    Target("1 with short packets, median", "value", ("neighbours: 1 with short packets median",), "<", 10.0, "ms"),
    Target("10 with short packets, median", "value", ("neighbours: 10 with short packets median",), "<", 60.0, "ms"),
    Target("idle, CPU", "ratio", ("idle, clients 0, CPU",), "<=", 1.15, "x floor"),
    Target("idle, wake-ups", "ratio", ("idle, clients 0, wake-ups",), "<=", 1.15, "x floor"),
    # In the loops of a millisecond, which know no clients, noise of several per cent would hide it.
    Target("10 idle clients add, CPU", "value", ("idle, 10 clients add, CPU beside the loops",), "<", 2.0, "%"),
    Target("10 idle clients add, wake-ups", "value", ("idle, 10 clients add, wake-ups",), "<", 2.0, "%"),
    Target("CPU per answer above the floor", "above floor", ("throughput, clients 1, CPU per answer",),
           "<=", 40.0, "us"),
    Target("the same, 50 clients", "above floor", ("throughput, clients 50, CPU per answer",), "<=", 40.0, "us"),
    Target("the same, 500 clients", "above floor", ("throughput, clients 500, CPU per answer",), "<=", 40.0, "us"),
    Target("CPU per answer, no log", "value", ("in-process, CPU per answer, log filtered out",), "<=", 15.0, "us"),
    Target("drain, each of 500 clients", "value", ("in-process, drain of a pass, per client of 500",), "<=", 5.0, "us"),
    Target("RSS, 1 gateway, no client", "value", ("gateways 1, memory, clients 0, RSS",), "<=", 4.5 * MIB, "KiB"),
    Target("RSS per idle client", "growth per unit",
           ("gateways 1, memory, clients 0, RSS", "gateways 1, memory, clients 900, RSS", 900), "<=", 1.0, "KiB"),
    Target("RSS per gateway", "growth per unit",
           ("gateways 1, memory, clients 0, RSS", "gateways 64, memory, clients 0, RSS", 63), "<=", 24.0, "KiB"),
    # Back at the baseline, but for the pages that the allocator keeps in its caches.
    Target("RSS that 1,000 connects leave", "growth per unit",
           ("connects, memory, clients 0, RSS", "connects, memory, after 1000 connects, RSS", 1),
           "<=", KEPT_PAGES, "KiB"),
    Target("RSS that 900 clients leave", "value", ("gateways 1, memory, left by all clients, RSS",),
           "<=", KEPT_PAGES, "KiB"),
    Target("start until it listens, median", "value", ("start-up median",), "<=", 10.0, "ms"),
    Target("stripped release binary", "value", ("stripped size",), "<=", 1 * MIB, "KiB"),
    Target("shared libraries it asks for", "value", ("shared libraries",), "<=", 6.0, ""),
)


def _growth_per_unit(mux, _floor, before, after, units):
    return (mux(after) - mux(before)) / units


# Each takes how to look up a figure of the Mux and one of the floor, then the operands.
OPERATIONS = {
    "value": lambda mux, floor, name: mux(name),
    "ratio": lambda mux, floor, name: mux(name) / floor(name),
    "above floor": lambda mux, floor, name: mux(name) - floor(name),
    "growth per unit": _growth_per_unit,
}

COMPARISONS = {
    "<": lambda value, limit: value < limit,
    "<=": lambda value, limit: value <= limit,
    ">=": lambda value, limit: value >= limit,
}


def work_out(target, mux, floor):
    """The value of a target's row, and whether it is met."""
    value = OPERATIONS[target.operation](mux, floor, *target.operands)
    return value, COMPARISONS[target.comparison](value, target.limit)
