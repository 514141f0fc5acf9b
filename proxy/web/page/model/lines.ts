import type { Row } from "./types";

export const keptLines = 500;

// A line of the list of events: a row, or a note where something may be missing.
export interface RowLine {
    type: "row";
    id: string;
    row: Row;
    // Seconds between the event and its arrival here, 0 unless it came late.
    late: number;
    // Of the present run of the proxy, which knows the row's number.
    isOfThisRun: boolean;
}

export interface NoteLine {
    type: "missed" | "gap" | "restarted";
    id: string;
    time: number;
    count: number;
}

export type Line = RowLine | NoteLine;

function rowTime(line: Line): number {
    return line.type === "row" ? line.row.time : 0;
}

// The newest lines, oldest first, at most `keptLines`; each is kept once.
export class Lines {
    private lines_: Line[] = [];
    private start_ = "";
    private newest_ = 0;
    private notes_ = 0;

    get all(): readonly Line[] {
        return this.lines_;
    }

    // Rows as they came; those that are here already are left out. Returns what was added.
    add(rows: Row[], lateOf: (row: Row) => number): Line[] {
        const added = rows
            .filter((row) => row.n > this.newest_)
            .map((row): Line => ({
                type: "row",
                id: `${this.start_}:${row.n}`,
                row,
                late: lateOf(row),
                isOfThisRun: true,
            }));
        this.newest_ = rows.reduce((newest, row) => Math.max(newest, row.n), this.newest_);
        return this.keep(added);
    }

    note(type: NoteLine["type"], time: number, count = 0): Line[] {
        this.notes_ += 1;
        return this.keep([{ type, id: `note:${this.notes_}`, time, count }]);
    }

    // The rows of a whole picture of the site. A note tells when what came before does not join them.
    join(start: string, rows: Row[], time: number): Line[] {
        if (this.start_ !== "" && this.start_ !== start) {
            return this.joinRun(start, rows, time);
        }
        const notes = this.start_ === "" ? [] : this.joint(rows, time);
        this.start_ = start;
        return [...notes, ...this.add(rows, () => 0)];
    }

    // A new run numbers its rows anew, and begins with those of the audit: those that are here already are left out.
    private joinRun(start: string, rows: Row[], time: number): Line[] {
        const newest = this.lines_.reduce((latest, line) => Math.max(latest, rowTime(line)), 0);
        this.lines_ = this.lines_.map((line) => (line.type === "row" ? { ...line, isOfThisRun: false } : line));
        this.start_ = start;
        this.newest_ = 0;
        return [
            ...this.note("restarted", time),
            ...this.add(
                rows.filter((row) => row.time > newest),
                () => 0,
            ),
        ];
    }

    private joint(rows: Row[], time: number): Line[] {
        const isTold = this.lines_[this.lines_.length - 1]?.type === "missed";
        const joins = isTold || this.newest_ === 0 || rows.length === 0 || rows[0].n <= this.newest_ + 1;
        return joins ? [] : this.note("gap", time);
    }

    private keep(added: Line[]): Line[] {
        this.lines_ = [...this.lines_, ...added].slice(-keptLines);
        return added;
    }
}
