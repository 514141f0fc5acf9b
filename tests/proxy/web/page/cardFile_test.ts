import { deepEqual, equal, throws } from "node:assert/strict";
import { test } from "node:test";
import { CardFileFault, cardDigits, readCardFile } from "../../../../proxy/web/page/logic/cardFile";
import { CsvFault, parseCsv } from "../../../../proxy/web/page/logic/csv";

const fieldsOf = (text: string): string[][] => parseCsv(text).map((record) => record.fields);

test("CSV: quoted fields have commas, doubled quotes and line breaks", () => {
    deepEqual(fieldsOf('a,"b,c","say ""hi""","two\r\nlines"\r\nd,,'), [
        ["a", "b,c", 'say "hi"', "two\r\nlines"],
        ["d", "", ""],
    ]);
});

test("CSV: any line ending, a byte order mark and no line ending at the end are read", () => {
    deepEqual(fieldsOf("\uFEFFa,b\nc,d\re,f\r\ng,h"), [
        ["a", "b"],
        ["c", "d"],
        ["e", "f"],
        ["g", "h"],
    ]);
});

test("CSV: empty lines are left out, and lines are counted as an editor counts them", () => {
    deepEqual(
        parseCsv('a\n\n"x\ny",z\nb').map((record) => record.line),
        [1, 3, 5],
    );
});

test("CSV: a quote that does not end, or goes on behind its end, is a fault with its line", () => {
    const isAt = (line: number) => (fault: unknown) => fault instanceof CsvFault && fault.line === line;
    throws(() => parseCsv('a,b\n"c,d'), isAt(2));
    throws(() => parseCsv('"a"b,c'), isAt(1));
});

test("card file: columns are found by name in any order, others are ignored", () => {
    const [card] = readCardFile("label,card,client,lock,gateway\n Anna ,04a1b2c3,x,5,1\n");
    deepEqual(card, { line: 2, gateway: 1, lock: 5, card: "04A1B2C3", label: "Anna", fault: null });
});

test("card file: each line that cannot be sent says why", () => {
    const long = "x".repeat(65);
    const lines = ["1,5,04A1B2C", "-1,5,04", "1,2147483648,04", "1,5", `1,5,04,${long}`, `1,5,04,${long.slice(1)}`];
    const faults = readCardFile(`gateway,lock,card,label\n${lines.join("\n")}`).map((card) => card.fault);
    deepEqual(faults, ["card", "gateway", "lock", "columns", "label", null]);
});

test("card file: without its columns or with a broken quote it is refused as a whole", () => {
    const isFor = (reason: string) => (fault: unknown) => fault instanceof CardFileFault && fault.reason === reason;
    throws(() => readCardFile("a,b\n1,2"), isFor("no-columns"));
    throws(() => readCardFile(""), isFor("empty"));
    throws(() => readCardFile('gateway,lock,card\n1,5,"04'), isFor("quotes"));
});

test("a card's digits may have spaces, colons and lower case, but whole bytes only", () => {
    equal(cardDigits(" 04:a1 B2-c3"), "04A1B2C3");
    equal(cardDigits("123"), "");
    equal(cardDigits("0G"), "");
    equal(cardDigits(""), "");
});
