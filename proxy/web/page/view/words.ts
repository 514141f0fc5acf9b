import { gatewayTitle } from "../logic/health";
import { shortResult, stateOfResult } from "../logic/results";
import type { Door, Row } from "../model/types";
import { h } from "./dom";
import type { Child } from "./dom";
import { marked } from "./marks";
import type { Context } from "./context";

type Place = { gateway: number | null; lock: number | null };

// "Gateway 1, lock 5", for doors without a name and places that are none.
export function placeText(place: Place, context: Context): string {
    const { texts } = context;
    const parts = [
        place.gateway !== null ? texts.gateway(place.gateway) : "",
        place.lock !== null ? texts.lock(place.lock) : "",
    ];
    return parts.filter((part) => part !== "").join(", ");
}

export function doorName(place: Place, context: Context): string {
    return context.site.door(place)?.name || placeText(place, context);
}

// A name with its gateway, where doors of several gateways stand together.
export function fullDoorName(door: Door, context: Context): string {
    const gateway = gatewayTitle(door.gateway, door.gatewayName, context.texts);
    return door.name !== "" ? `${door.name} (${gateway})` : doorName(door, context);
}

export function operationText(operation: string, context: Context): string {
    return context.texts.operations[operation] ?? operation;
}

// [value, text] of all doors for a list to choose from.
export function doorOptions(doors: Door[], context: Context): [string, string][] {
    return doors.map((door) => [`${door.gateway}/${door.lock}`, fullDoorName(door, context)]);
}

export function timeElement(time: number, context: Context): HTMLElement {
    return h("time", { datetime: new Date(time).toISOString() }, context.clock.text(time));
}

function detailsOf(row: Pick<Row, "result" | "milliseconds" | "client">, context: Context): string {
    const { texts, clock } = context;
    const seconds = row.result !== "" && row.milliseconds >= 0 ? texts.seconds(clock.seconds(row.milliseconds)) : "";
    return [seconds, row.client ? texts.by(row.client) : ""].filter((part) => part !== "").join(", ");
}

// Mark and words for what became of a request: "done (0.8 s, by anna)".
export function resultElement(
    row: Pick<Row, "result" | "errorCode" | "milliseconds" | "client">,
    context: Context,
): HTMLElement {
    const code = row.result === "nack" && row.errorCode !== 0 ? ` ${row.errorCode}` : "";
    const details = detailsOf(row, context);
    const text: Child[] = [
        shortResult(row.result, context.texts) + code,
        details !== "" && h("span", { class: "aside" }, ` (${details})`),
    ];
    return marked(stateOfResult(row.result), ...text);
}

// What people read in a row; filters search in it.
export function rowText(row: Row, context: Context): string {
    const result = row.kind === "request" ? shortResult(row.result, context.texts) : "";
    const place = `${doorName(row, context)} ${placeText(row, context)}`;
    return [place, operationText(row.operation, context), row.card, result, row.client ?? ""].join(" ");
}
