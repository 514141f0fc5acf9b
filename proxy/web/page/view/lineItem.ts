import { stateOfResult } from "../logic/results";
import type { Line, NoteLine, RowLine } from "../model/lines";
import type { Row } from "../model/types";
import type { Context } from "./context";
import { giveButton } from "./doorCard";
import { h } from "./dom";
import { mark, marked } from "./marks";
import { doorName, operationText, placeText, resultElement, timeElement } from "./words";

const eventStates: Record<string, "warn" | "good"> = { "battery-low": "warn", "battery-good": "good" };

function whatOf(row: Row, context: Context): HTMLElement {
    const state = eventStates[row.operation];
    const card = row.card !== "" && h("span", { class: "card" }, ` ${row.card}`);
    const text = operationText(row.operation, context);
    return h("span", { class: "what" }, state !== undefined && mark(state), text, card);
}

function placeOf(row: Row, context: Context): HTMLElement {
    const name = doorName(row, context);
    const place = placeText(row, context);
    return h(
        "span",
        { class: "place", title: place },
        name,
        name !== place && h("span", { class: "aside" }, ` ${place}`),
    );
}

function rowItem(line: RowLine, context: Context, hasButtons: boolean): HTMLElement {
    const { row } = line;
    const isRequest = row.kind === "request";
    return h(
        "li",
        { class: `line of-${row.kind} is-${isRequest ? stateOfResult(row.result) : "event"}`, "data-n": row.n },
        timeElement(row.time, context),
        placeOf(row, context),
        whatOf(row, context),
        h(
            "span",
            { class: "end" },
            isRequest && resultElement(row, context),
            line.late > 0 && h("span", { class: "late" }, mark("warn"), context.texts.late(line.late)),
            hasButtons && row.cardEvent === true && line.isOfThisRun && giveButton(row, context),
        ),
    );
}

function noteText(line: NoteLine, context: Context): string {
    const { events } = context.texts;
    return line.type === "missed" ? events.missed(line.count) : line.type === "gap" ? events.gap : events.restarted;
}

// A line of a list of events.
export function lineItem(line: Line, context: Context, hasButtons = true): HTMLElement {
    return line.type === "row"
        ? rowItem(line, context, hasButtons)
        : h("li", { class: "line note" }, timeElement(line.time, context), marked("warn", noteText(line, context)));
}
