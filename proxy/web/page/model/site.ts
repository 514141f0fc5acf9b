import type { BatteryMessage, Busy, BusyMessage, Door, DoorAddress, Health, Row, SiteMessage } from "./types";
import { doorKey } from "./types";
import { Changes } from "./changes";
import { Lines } from "./lines";
import { lateSeconds } from "../logic/times";

export interface Connection {
    state: "starting" | "live" | "lost";
    // On this device's clock: when it was lost, or began.
    since: number;
}

// What the page knows of the site: the server's last word, with what came since. Messages change it, and `changes`
// tells the views what.
export class Site {
    readonly changes = new Changes();
    readonly lines = new Lines();
    doors = new Map<string, Door>();
    health: Health | null = null;
    connection: Connection = { state: "starting", since: Date.now() };
    // When the last of the messages came, on this device's clock; 0 before the first.
    asOf = 0;
    private ahead_: number | null = null;
    private start_ = "";

    // Milliseconds that this device's clock is ahead of the server's, as far as messages show it.
    get clockAhead(): number {
        return this.ahead_ ?? 0;
    }

    door(address: { gateway: number | null; lock: number | null }): Door | undefined {
        return this.doors.get(doorKey(address));
    }

    doorsWith(right: Door["rights"][number]): Door[] {
        return [...this.doors.values()].filter((door) => door.rights.includes(right));
    }

    takeConnection(connection: Connection): void {
        this.connection = connection;
        this.changes.markConnection();
    }

    takeSite(message: SiteMessage): void {
        this.ahead_ = null;
        this.heard(message.time);
        this.doors = new Map(message.doors.map((door) => [doorKey(door), door]));
        const isNewRun = this.start_ !== "" && this.start_ !== message.start;
        this.start_ = message.start;
        this.changes.markLines(this.lines.join(message.start, message.rows, message.time));
        this.changes.markAll();
        if (isNewRun) {
            this.changes.markRestart();
        }
    }

    takeRows(rows: Row[]): void {
        const arrival = Date.now() - this.clockAhead;
        this.changes.markLines(this.lines.add(rows, (row) => lateSeconds(row.time, arrival)));
        rows.forEach((row) => this.noteAtDoor(row));
        this.asOf = Date.now();
    }

    takeBusy(message: BusyMessage): void {
        this.changeDoor(message, (door) => (door.busy = message.busy));
    }

    takeBattery(message: BatteryMessage): void {
        this.changeDoor(message, (door) => (door.battery = message.battery));
    }

    takeMissed(count: number): void {
        this.changes.markLines(this.lines.note("missed", Date.now() - this.clockAhead, count));
    }

    takeHealth(health: Health): void {
        this.heard(health.time);
        this.health = health;
        this.changes.markHealth();
    }

    // Network delays only ever make the server's time look older, so the smallest difference is the best.
    private heard(serverTime: number): void {
        this.asOf = Date.now();
        const ahead = this.asOf - serverTime;
        this.ahead_ = this.ahead_ === null ? ahead : Math.min(this.ahead_, ahead);
    }

    private noteAtDoor(row: Row): void {
        if (row.gateway === null || row.lock === null) {
            return;
        }
        this.changeDoor({ gateway: row.gateway, lock: row.lock }, (door) => {
            if (row.kind === "event") {
                door.lastEvent = row;
            } else if (row.kind === "request" && row.result !== "") {
                door.lastResult = row;
            }
        });
    }

    private changeDoor(address: DoorAddress, change: (door: Door) => void): void {
        const door = this.door(address);
        if (door !== undefined) {
            change(door);
            this.changes.markDoor(doorKey(address));
        }
    }
}

// The oldest of what is under way at a door, or none.
export function firstBusy(busy: Busy[]): Busy | undefined {
    return [...busy].sort((one, other) => one.since - other.since)[0];
}
