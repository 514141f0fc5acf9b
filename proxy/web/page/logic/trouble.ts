import type { Door, Health, Row } from "../model/types";
import type { Texts } from "../texts/en";
import { viewBattery } from "./battery";
import { shortResult, stateOfResult } from "./results";
import type { State } from "./state";
import { worstOf } from "./state";

// What a glance at a door has to tell, the worst first.
export interface Trouble {
    about: "gateway" | "battery" | "result";
    state: State;
    text: string;
}

// Results of the proxy that concern who asked, not the door.
const asker = new Set(["not-allowed", "not-valid", "not-fresh", "not-signed", "dropped"]);

function concernsDoor(row: Row): boolean {
    return !asker.has(row.result) && !row.operation.startsWith("whitelist-");
}

function resultTrouble(door: Door, texts: Texts): Trouble[] {
    const row = door.lastResult;
    const state = row !== null && concernsDoor(row) ? stateOfResult(row.result) : "good";
    return row !== null && (state === "bad" || state === "warn")
        ? [{ about: "result", state, text: shortResult(row.result, texts) }]
        : [];
}

function batteryTrouble(door: Door, texts: Texts): Trouble[] {
    const view = viewBattery(door.battery, texts);
    return view.state === "bad" || view.state === "warn"
        ? [{ about: "battery", state: view.state, text: view.text }]
        : [];
}

function gatewayTrouble(door: Door, health: Health | null, texts: Texts): Trouble[] {
    const isSilent = health?.gateways.some((gateway) => gateway.gateway === door.gateway && gateway.silent) ?? false;
    return isSilent ? [{ about: "gateway", state: "bad", text: texts.health.gatewaySilent }] : [];
}

export function troublesOf(door: Door, health: Health | null, texts: Texts): Trouble[] {
    const found = [
        ...gatewayTrouble(door, health, texts),
        ...batteryTrouble(door, texts),
        ...resultTrouble(door, texts),
    ];
    return [...found.filter((one) => one.state === "bad"), ...found.filter((one) => one.state !== "bad")];
}

// How the door is as a whole.
export function stateOfDoor(door: Door, troubles: Trouble[]): State {
    if (troubles.length > 0) {
        return worstOf(troubles.map((one) => one.state));
    }
    return door.busy.length > 0 ? "busy" : door.lastResult === null ? "unsure" : "good";
}
