// Reads comma-separated values (RFC 4180): quoted fields, doubled quotes, line breaks within quotes, any line ending,
// a byte order mark. Throws CsvFault with the line's number, counted from 1.

export class CsvFault extends Error {
    constructor(readonly line: number) {
        super(`line ${line}: a quoted field does not end properly`);
    }
}

export interface CsvRecord {
    // Where it begins in the file, from 1.
    line: number;
    fields: string[];
}

// One field, plain or quoted, up to the separator that ends it.
const fieldPattern = /(?:"([^"]*(?:""[^"]*)*)"|([^",\r\n]*))(,|\r\n|\n|\r|$)/y;

function lineBreaksOf(text: string): number {
    return text.split(/\r\n|\n|\r/).length - 1;
}

export function parseCsv(file: string): CsvRecord[] {
    const text = file.replace(/^\uFEFF/, "");
    const records: CsvRecord[] = [];
    let line = 1;
    let current: CsvRecord = { line, fields: [] };
    fieldPattern.lastIndex = 0;
    while (fieldPattern.lastIndex < text.length || current.fields.length > 0) {
        const match = fieldPattern.exec(text);
        if (match === null) {
            throw new CsvFault(line);
        }
        current.fields.push(match[1] !== undefined ? match[1].replace(/""/g, '"') : match[2]);
        line += lineBreaksOf(match[0]);
        if (match[3] !== ",") {
            records.push(current);
            current = { line, fields: [] };
        }
    }
    return records.filter((record) => record.fields.length > 1 || record.fields[0] !== "");
}
