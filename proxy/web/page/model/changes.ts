import type { Line } from "./lines";
import { keptLines } from "./lines";

// What changed since the views were last drawn.
export interface Change {
    // Everything may have: doors came or went.
    all: boolean;
    doors: ReadonlySet<string>;
    lines: readonly Line[];
    health: boolean;
    connection: boolean;
    restart: boolean;
}

// Collects changes and hands them out once per animation frame, at most every 100 ms: more often nobody can read. A
// hidden page draws nothing; it then keeps no more than a list can show.
export class Changes {
    onChange: (change: Change) => void = () => undefined;
    private doors_ = new Set<string>();
    private lines_: Line[] = [];
    private flags_ = { all: false, health: false, connection: false, restart: false };
    private isPlanned_ = false;
    private drawn_ = 0;

    markDoor(key: string): void {
        this.doors_.add(key);
        this.plan();
    }

    markLines(lines: Line[]): void {
        this.lines_ = [...this.lines_, ...lines].slice(-keptLines);
        this.plan();
    }

    markAll(): void {
        this.mark("all");
    }

    markHealth(): void {
        this.mark("health");
    }

    markConnection(): void {
        this.mark("connection");
    }

    markRestart(): void {
        this.mark("restart");
    }

    private mark(flag: keyof Changes["flags_"]): void {
        this.flags_[flag] = true;
        this.plan();
    }

    private plan(): void {
        if (this.isPlanned_) {
            return;
        }
        this.isPlanned_ = true;
        const wait = Math.max(0, this.drawn_ + 100 - performance.now());
        setTimeout(() => requestAnimationFrame(() => this.handOut()), wait);
    }

    private handOut(): void {
        const change: Change = { ...this.flags_, doors: this.doors_, lines: this.lines_ };
        this.isPlanned_ = false;
        this.drawn_ = performance.now();
        this.doors_ = new Set();
        this.lines_ = [];
        this.flags_ = { all: false, health: false, connection: false, restart: false };
        this.onChange(change);
    }
}
