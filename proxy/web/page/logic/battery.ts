import type { Battery } from "../model/types";
import type { Texts } from "../texts/en";
import type { State } from "./state";

export interface BatteryView {
    state: State;
    text: string;
}

function stateOf(battery: Battery): State {
    if (battery.battery_alarm) {
        return "bad";
    }
    if (battery.battery_warning || battery.battery === "resistance-too-high" || isAttentionNeeded(battery)) {
        return "warn";
    }
    return battery.battery === "not-available" ? "unsure" : "good";
}

function isAttentionNeeded(battery: Battery): boolean {
    return battery.fire_mode === true || battery.reader_connected === false;
}

function partsOf(battery: Battery, texts: Texts): string[] {
    const names: Record<string, string> = texts.battery.names;
    const capacity = battery.capacity_at_least;
    return [
        battery.battery_alarm ? texts.battery.alarm : battery.battery_warning ? texts.battery.warning : "",
        battery.fire_mode === true ? texts.battery.fireMode : "",
        battery.reader_connected === false ? texts.battery.noReader : "",
        names[battery.battery] ?? battery.battery,
        battery.battery === "not-available" ? "" : capacity > 0 ? texts.battery.atLeast(capacity) : texts.battery.low,
    ];
}

// What the last status said; "not known" without one.
export function viewBattery(battery: Battery | null, texts: Texts): BatteryView {
    if (battery === null) {
        return { state: "unsure", text: texts.notKnown };
    }
    return {
        state: stateOf(battery),
        text: partsOf(battery, texts)
            .filter((part) => part !== "")
            .join(", "),
    };
}
