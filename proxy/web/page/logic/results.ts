import type { Texts } from "../texts/en";
import { pageResults, resultNames } from "../model/types";
import type { Outcome, PageResult, ResultName } from "../model/types";
import type { State } from "./state";

const states: Record<ResultName | PageResult, State> = {
    ack: "good",
    nack: "bad",
    "not-allowed": "bad",
    "not-valid": "bad",
    "not-sent": "bad",
    "no-answer": "warn",
    "mux-away": "bad",
    "not-audited": "bad",
    ambiguous: "warn",
    dropped: "bad",
    unknown: "warn",
    "not-fresh": "bad",
    "not-signed": "bad",
    "cut-off": "warn",
    refused: "bad",
    "logged-out": "bad",
    "too-many": "bad",
    failed: "warn",
};

const moving = new Set(["open", "close", "open-close", "event-open", "event-close", "event-open-close"]);
// What the server adds to these tells more than their names.
const inOwnWords = new Set(["not-valid", "refused"]);
// Their refusals come without a number.
const unnumbered = new Set(["open", "close", "event-open", "event-close"]);

function isKnown(result: string): result is ResultName | PageResult {
    return (resultNames as readonly string[]).includes(result) || (pageResults as readonly string[]).includes(result);
}

// Results that leave open whether it was done.
export function isOpenEnded(result: string): boolean {
    return isKnown(result) && states[result] === "warn";
}

export function stateOfResult(result: string): State {
    return isKnown(result) ? states[result] : result === "" ? "busy" : "unsure";
}

// A word or two: "done", "no answer". A name that is not known is shown as it is.
export function shortResult(result: string, texts: Texts): string {
    return isKnown(result) ? texts.results[result].short : result === "" ? texts.underWay : result;
}

function refusalReason(operation: string, errorCode: number, said: string, texts: Texts): string {
    if (errorCode === 0 && said !== "") {
        return texts.said(said);
    }
    if (errorCode === 0) {
        return unnumbered.has(operation) ? texts.gatewayReasons.unnumbered : texts.gatewayReasons.request;
    }
    const reasons: Record<string, string> = texts.gatewayReasons.numbered;
    return reasons[errorCode] ?? texts.gatewayReasons.other(errorCode);
}

function acknowledged(operation: string, texts: Texts): string {
    const acks: Record<string, string> = texts.acks;
    return acks[operation] ?? texts.acks.other;
}

// One or two sentences: what the result means for the door.
export function explainResult(
    operation: string,
    outcome: Omit<Outcome, "result"> & { result: string },
    texts: Texts,
): string {
    if (outcome.result === "ack") {
        return acknowledged(operation, texts);
    }
    if (outcome.result === "nack") {
        return texts.refusedByGateway(refusalReason(operation, outcome.errorCode, outcome.text ?? "", texts));
    }
    if (!isKnown(outcome.result)) {
        return shortResult(outcome.result, texts);
    }
    const consequence = isOpenEnded(outcome.result)
        ? moving.has(operation)
            ? texts.mayHaveMoved
            : texts.mayHaveBeenDone
        : texts.notDone;
    const said = outcome.text && inOwnWords.has(outcome.result) ? `${texts.said(outcome.text)} ` : "";
    return `${texts.results[outcome.result].long} ${said}${consequence}`;
}
