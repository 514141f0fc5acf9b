import { CsvFault, parseCsv } from "./csv";

// One card of an import file, or why its line cannot be sent.
export interface CardLine {
    line: number;
    gateway: number;
    lock: number;
    card: string;
    label: string;
    fault: CardFault | null;
}

export type CardFault = "columns" | "gateway" | "lock" | "card" | "label";

// The file as a whole cannot be used.
export class CardFileFault extends Error {
    constructor(
        readonly reason: "no-columns" | "quotes" | "empty",
        readonly line: number,
    ) {
        super(reason);
    }
}

export const longestLabel = 64;
const neededColumns = ["gateway", "lock", "card"] as const;
const highestNumber = 2 ** 31 - 1;

function numberOf(text: string): number {
    const value = /^\d{1,10}$/.test(text.trim()) ? Number(text) : NaN;
    return value <= highestNumber ? value : NaN;
}

// Upper-case hexadecimal with two digits a byte, or empty.
export function cardDigits(text: string): string {
    const digits = text.replace(/[\s:-]/g, "").toUpperCase();
    return /^([0-9A-F]{2})+$/.test(digits) ? digits : "";
}

function faultOf(card: CardLine): CardFault | null {
    if (Number.isNaN(card.gateway)) {
        return "gateway";
    }
    if (Number.isNaN(card.lock)) {
        return "lock";
    }
    if (card.card === "") {
        return "card";
    }
    return [...card.label].length > longestLabel ? "label" : null;
}

function readLine(line: number, fields: string[], columns: Map<string, number>): CardLine {
    const field = (name: string): string => fields[columns.get(name) ?? -1] ?? "";
    const card: CardLine = {
        line,
        gateway: numberOf(field("gateway")),
        lock: numberOf(field("lock")),
        card: cardDigits(field("card")),
        label: field("label").trim(),
        fault: null,
    };
    card.fault = fields.length < neededColumns.length ? "columns" : faultOf(card);
    return card;
}

function recordsOf(text: string) {
    try {
        return parseCsv(text);
    } catch (fault) {
        throw fault instanceof CsvFault ? new CardFileFault("quotes", fault.line) : fault;
    }
}

// Reads a file as the export writes it; columns are found by the names in its first line, in any order. Throws
// CardFileFault.
export function readCardFile(text: string): CardLine[] {
    const [header, ...records] = recordsOf(text);
    if (header === undefined) {
        throw new CardFileFault("empty", 1);
    }
    const columns = new Map(header.fields.map((name, index) => [name.trim().toLowerCase(), index]));
    if (neededColumns.some((name) => !columns.has(name))) {
        throw new CardFileFault("no-columns", header.line);
    }
    return records.map((record) => readLine(record.line, record.fields, columns));
}
