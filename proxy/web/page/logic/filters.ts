import type { Row } from "../model/types";

// Without case and accents, so that "tur" finds "Tür".
function plain(text: string): string {
    return text.normalize("NFD").replace(/\p{M}/gu, "").toLowerCase();
}

// Whether all words of the filter are in the text, in any order.
export function matchesWords(filter: string, text: string): boolean {
    const searched = plain(text);
    return plain(filter)
        .split(/\s+/)
        .every((word) => searched.includes(word));
}

export interface RowFilter {
    // "GATEWAY/LOCK", "GATEWAY/" for all of a gateway, or empty for all.
    place: string;
    // "event", "request", an operation such as "card", or empty for all.
    kind: string;
    text: string;
}

function isAt(row: Row, place: string): boolean {
    const [gateway, lock] = place.split("/");
    return String(row.gateway) === gateway && (lock === "" || String(row.lock) === lock);
}

// `text` gives what people read in the row.
export function matchesRow(filter: RowFilter, row: Row, text: (row: Row) => string): boolean {
    return (
        (filter.place === "" || isAt(row, filter.place)) &&
        (filter.kind === "" || row.kind === filter.kind || row.operation === filter.kind) &&
        (filter.text.trim() === "" || matchesWords(filter.text.trim(), text(row)))
    );
}
