import { deepEqual, equal, match, ok } from "node:assert/strict";
import { test } from "node:test";
import { viewBattery } from "../../../../proxy/web/page/logic/battery";
import { Delays } from "../../../../proxy/web/page/logic/delays";
import { EventCutter } from "../../../../proxy/web/page/logic/eventStream";
import { matchesRow, matchesWords } from "../../../../proxy/web/page/logic/filters";
import { healthItems } from "../../../../proxy/web/page/logic/health";
import { Clock, lateSeconds } from "../../../../proxy/web/page/logic/times";
import { stateOfDoor, troublesOf } from "../../../../proxy/web/page/logic/trouble";
import { keptLines, Lines } from "../../../../proxy/web/page/model/lines";
import type { Battery, Door, Health, Row } from "../../../../proxy/web/page/model/types";
import { en } from "../../../../proxy/web/page/texts/en";

const row = (n: number, more: Partial<Row> = {}): Row => ({
    n,
    time: 1000,
    kind: "event",
    operation: "card",
    gateway: 1,
    lock: 5,
    card: "*1234",
    result: "",
    errorCode: 0,
    milliseconds: 0,
    client: null,
    ...more,
});

const battery = (more: Partial<Battery> = {}): Battery => ({
    time: 0,
    battery: "full",
    capacity_at_least: 95,
    battery_warning: false,
    battery_alarm: false,
    ...more,
});

const door = (more: Partial<Door> = {}): Door => ({
    gateway: 1,
    gatewayName: "Cellar",
    lock: 5,
    name: "Front door",
    rights: ["open"],
    lastEvent: null,
    lastResult: null,
    battery: null,
    busy: [],
    ...more,
});

const health = (more: Partial<Health> = {}): Health => ({
    time: 0,
    mux: true,
    gateways: [{ gateway: 1, name: "Cellar", queue: 0, silent: false }],
    broker: null,
    certificates: { server: 200, authority: null },
    audit: { writable: true, rows: 1, bytes: 1, limit: 2, free: 2 ** 40 },
    ...more,
});

const idsOf = (lines: Lines): string[] =>
    lines.all.map((line) => (line.type === "row" ? String(line.row.n) : line.type));
const notLate = (): number => 0;

test("filters: all words in any order, without case and accents", () => {
    ok(matchesWords("tur keller", "Keller, TÜR 4"));
    ok(matchesWords("", "anything"));
    ok(!matchesWords("tur dach", "Keller, TÜR 4"));
});

test("filters: rows by door, by gateway, by kind and by what people read in them", () => {
    const matches = (filter: { place?: string; kind?: string; text?: string }): boolean =>
        matchesRow({ place: "", kind: "", text: "", ...filter }, row(1), (one) => `Front door ${one.card}`);
    deepEqual(
        [{ place: "1/5" }, { place: "1/" }, { kind: "event" }, { kind: "card" }, { text: "1234 front" }].map(matches),
        Array(5).fill(true),
    );
    deepEqual(
        [{ place: "1/6" }, { place: "11/" }, { kind: "request" }, { kind: "pin" }, { text: "back" }].map(matches),
        Array(5).fill(false),
    );
});

test("delays: from 1 s growing to 10 s, never outside, and again from 1 s after success", () => {
    const delays = new Delays();
    deepEqual(
        [0, 0, 0, 0, 0, 0, 0, 0].map((random) => delays.next(random)),
        [1000, 1500, 2250, 3375, 5063, 7594, 10000, 10000],
    );
    equal(delays.next(0.5), 9000);
    delays.reset();
    equal(delays.next(0.999), 1000);
});

test("stream: events cut anywhere arrive whole, comments are left out", () => {
    const text = ": hello\n\nevent: rows\ndata: [1,\ndata: 2]\n\r\nevent: health\r\ndata:{}\r\n\r\nevent: empty\n\n";
    const expected = ["rows [1,\n2]", "health {}"];
    for (let cut = 1; cut < text.length; cut += 1) {
        const cutter = new EventCutter();
        const seen: string[] = [];
        [text.slice(0, cut), text.slice(cut)].forEach((piece) =>
            cutter.add(piece, (name, data) => seen.push(`${name} ${data}`)),
        );
        deepEqual(seen, expected);
    }
});

test("late: more than 10 s between event and arrival", () => {
    equal(lateSeconds(1000, 11_000), 0);
    equal(lateSeconds(1000, 12_400), 11);
});

test("times: with the date unless it is today, with the year unless it is this one", () => {
    const clock = new Clock("en-GB");
    const now = new Date(2026, 2, 5, 23, 0, 0).getTime();
    equal(clock.text(new Date(2026, 2, 5, 13, 4, 5).getTime(), now), "13:04:05");
    match(clock.text(new Date(2026, 2, 4, 13, 4, 5).getTime(), now), /^4 Mar,? 13:04:05$/);
    match(clock.text(new Date(2025, 2, 5, 13, 4, 5).getTime(), now), /^5 Mar 2025,? 13:04:05$/);
});

test("sizes: in units of 1024, in the language's numbers", () => {
    equal(new Clock("de").bytes(1536), "1,5 KiB");
    equal(new Clock("en").bytes(0), "0 B");
    equal(new Clock("en").bytes(3 * 1024 ** 3), "3 GiB");
});

test("lines: each row once, the newest 500, with a note where rows may be missing", () => {
    const lines = new Lines();
    lines.join("a", [row(1), row(2)], 0);
    lines.add([row(2), row(4)], notLate);
    lines.join("a", [row(3), row(4), row(5)], 0);
    deepEqual(idsOf(lines), ["1", "2", "4", "5"]);
    lines.join("a", [row(9)], 0);
    deepEqual(idsOf(lines), ["1", "2", "4", "5", "gap", "9"]);
    lines.note("missed", 0, 3);
    lines.join("a", [row(13)], 0);
    deepEqual(idsOf(lines).slice(-3), ["9", "missed", "13"]);
    lines.add(
        Array.from({ length: 600 }, (_, index) => row(14 + index)),
        notLate,
    );
    deepEqual([lines.all.length, idsOf(lines)[0]], [keptLines, "114"]);
});

test("lines: a restarted proxy numbers anew, tells again what is here, and gives no access to old cards", () => {
    const lines = new Lines();
    lines.join("a", [row(7, { time: 5 })], 0);
    lines.join("b", [row(1, { time: 4 }), row(2, { time: 5 }), row(3, { time: 6 })], 0);
    deepEqual(idsOf(lines), ["7", "restarted", "3"]);
    deepEqual(
        lines.all.map((line) => line.type === "row" && line.isOfThisRun),
        [false, false, true],
    );
});

test("battery: what is not known is not guessed, and an alarm comes first", () => {
    deepEqual(viewBattery(null, en), { state: "unsure", text: "not known" });
    deepEqual(viewBattery(battery({ battery: "not-available", capacity_at_least: 0 }), en), {
        state: "unsure",
        text: "not known",
    });
    deepEqual(viewBattery(battery(), en), { state: "good", text: "full, at least 95\u00a0%" });
    deepEqual(
        viewBattery(
            battery({ battery: "medium", capacity_at_least: 0, battery_alarm: true, battery_warning: true }),
            en,
        ),
        { state: "bad", text: "alarm, medium, below 80\u00a0%" },
    );
    deepEqual(viewBattery(battery({ reader_connected: false }), en), {
        state: "warn",
        text: "reader not connected, full, at least 95\u00a0%",
    });
});

test("trouble: what concerns the door, not who asked", () => {
    const result = (name: string, operation = "open"): Row => row(1, { kind: "request", operation, result: name });
    const textsOf = (one: Door, site = health()): string[] => troublesOf(one, site, en).map((trouble) => trouble.text);
    deepEqual(textsOf(door({ lastResult: result("no-answer") })), ["no answer"]);
    deepEqual(textsOf(door({ lastResult: result("not-allowed") })), []);
    deepEqual(textsOf(door({ lastResult: result("nack", "whitelist-add") })), []);
    const silent = health({ gateways: [{ gateway: 1, name: "", queue: 0, silent: true }] });
    deepEqual(textsOf(door({ battery: battery({ battery_warning: true }), lastResult: result("nack") }), silent), [
        "gateway silent",
        "refused",
        "warning, full, at least 95\u00a0%",
    ]);
    equal(stateOfDoor(door(), []), "unsure");
    equal(stateOfDoor(door({ lastResult: result("ack") }), []), "good");
});

test("health: each fault is told in words and as a state", () => {
    const bytes = (value: number): string => `${value} B`;
    const faultsOf = (more: Partial<Health>): string[] =>
        healthItems(health(more), bytes, en)
            .filter((item) => item.state !== "good")
            .map((item) => `${item.state}: ${item.text}`);
    deepEqual(faultsOf({}), []);
    deepEqual(faultsOf({ mux: false }), ["bad: Mux not reachable"]);
    deepEqual(faultsOf({ gateways: [{ gateway: 2, name: "", queue: 3, silent: true }] }), [
        "bad: Silent: Gateway 2, 3 requests wait",
    ]);
    deepEqual(faultsOf({ broker: { connected: false, waiting: 1 } }), ["bad: Broker not reachable, 1 message waits"]);
    deepEqual(faultsOf({ certificates: { server: 200, "revocation-list": 29 } }), ["warn: Certificates: 29 days"]);
    deepEqual(faultsOf({ certificates: { server: -1, authority: 29 } }), ["bad: A certificate has expired"]);
    deepEqual(faultsOf({ audit: { writable: true, rows: 1, bytes: 1, limit: 2, free: 1000 } }), [
        "warn: Free disk: 1000 B",
    ]);
    deepEqual(faultsOf({ audit: { writable: false, rows: 1, bytes: 1, limit: 2, free: 1000 } }), [
        "bad: Audit cannot be written",
    ]);
});
