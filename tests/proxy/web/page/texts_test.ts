import { deepEqual, equal, match, ok } from "node:assert/strict";
import { test } from "node:test";
import { ApiError, outcomeOf } from "../../../../proxy/web/page/model/api";
import { chooseTexts, localeOf } from "../../../../proxy/web/page/logic/language";
import { explainResult, stateOfResult } from "../../../../proxy/web/page/logic/results";
import { pageResults, resultNames } from "../../../../proxy/web/page/model/types";
import { de } from "../../../../proxy/web/page/texts/de";
import { en } from "../../../../proxy/web/page/texts/en";

// The paths of all members, also of those tables whose keys the compiler does not compare.
function pathsOf(value: unknown, path = ""): string[] {
    return typeof value === "object" && value !== null
        ? Object.entries(value).flatMap(([key, member]) => pathsOf(member, `${path}.${key}`))
        : [path];
}

function emptyOnes(value: unknown, path = ""): string[] {
    return typeof value === "object" && value !== null
        ? Object.entries(value).flatMap(([key, member]) => emptyOnes(member, `${path}.${key}`))
        : value === ""
          ? [path]
          : [];
}

const outcome = (result: string, errorCode = 0) => ({ result, errorCode, milliseconds: 1 });

test("texts: both languages have the same members, none of them empty", () => {
    deepEqual(pathsOf(de).sort(), pathsOf(en).sort());
    deepEqual([...emptyOnes(en), ...emptyOnes(de)], []);
});

test("texts: each result says what it means for the door, and which leave it open", () => {
    const open = [...resultNames, ...pageResults].filter((result) => {
        const text = explainResult("open", outcome(result), en);
        ok(text.endsWith("."), text);
        return text.includes("may have moved");
    });
    deepEqual(open, ["no-answer", "ambiguous", "unknown", "cut-off", "failed"]);
});

test("texts: an acknowledged opening is done, and does not claim an open door", () => {
    match(explainResult("open", outcome("ack"), en), /^Done: .*nobody reports\.$/);
    match(explainResult("open", outcome("ack"), de), /^Ausgeführt: .*meldet niemand\.$/);
    equal(stateOfResult("ack"), "good");
});

test("texts: what moves no door may have been done, rather than have moved it", () => {
    equal(explainResult("whitelist-add", outcome("no-answer"), en), "No answer. It may have been done.");
    equal(explainResult("event-open", outcome("no-answer"), en), "No answer. The door may have moved.");
});

test("texts: a gateway's refusal is explained by its number, for opening and closing there is none", () => {
    match(explainResult("whitelist-add", outcome("nack", 2), en), /in the lock's list already/);
    match(explainResult("open-close", outcome("nack", 8), de), /keinen Weg zu diesem Schloss/);
    match(explainResult("open", outcome("nack", 0), en), /no reason for opening and closing/);
    match(explainResult("status", outcome("nack", 200), en), /error 200/);
});

test("texts: what the server adds in its own words is quoted", () => {
    const said = (result: string, text: string): string => explainResult("open", { ...outcome(result), text }, en);
    equal(
        said("nack", "No route for device address 6 on gateway 1"),
        "Refused: “No route for device address 6 on gateway 1”. Nothing was done.",
    );
    equal(said("mux-away", "It cannot be reached"), "Not sent: the Mux cannot be reached. Nothing was done.");
    equal(
        said("not-valid", "a card is required"),
        "The request was not valid. “a card is required”. Nothing was done.",
    );
});

test("outcomes: what the server did not look at is not done, what it failed at may be", () => {
    const resultOf = (status: number, reason: string): string => outcomeOf(new ApiError(status, reason)).result;
    equal(resultOf(0, "cut-off"), "cut-off");
    equal(resultOf(401, "no-session"), "logged-out");
    equal(resultOf(403, "not-allowed"), "not-allowed");
    equal(resultOf(403, "forged"), "refused");
    equal(resultOf(429, "too-many"), "too-many");
    equal(resultOf(503, "not-readable"), "refused");
    equal(resultOf(500, "failed"), "failed");
});

test("texts: a result of a later proxy is shown by its name", () => {
    equal(explainResult("open", outcome("brand-new"), en), "brand-new");
    equal(stateOfResult("brand-new"), "unsure");
});

test("language: the one chosen on the page, then the browser's, then English", () => {
    equal(chooseTexts("de", ["en-GB"]).language, "de");
    equal(chooseTexts(null, ["fr-FR", "de-AT", "en"]).language, "de");
    equal(chooseTexts("toString", ["fr"]).language, "en");
    equal(localeOf(de, ["en-GB", "de-AT"]), "de-AT");
    equal(localeOf(en, ["de-AT"]), "en");
});

test("texts: one thing is not counted as several", () => {
    deepEqual([en.doors.count(1, 1), en.doors.count(1, 3)], ["1 door", "1 of 3 doors"]);
    deepEqual([de.doors.count(1, 1), de.doors.count(0, 1)], ["1 Tür", "0 von 1 Tür"]);
    deepEqual([en.cards.count(1, 1), en.cards.count(2, 2)], ["1 entry", "2 entries"]);
    deepEqual([de.cards.count(2, 2), de.cards.count(1, 2)], ["2 Einträge", "1 von 2 Einträgen"]);
    deepEqual([en.health.certificates(1), de.cards.finished(1, 0)], ["Certificates: 1 day", "Ausgeführt."]);
    equal(en.cards.importSummary(1, 1), "1 card to send, 1 line not usable.");
});
