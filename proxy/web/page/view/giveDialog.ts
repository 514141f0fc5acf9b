import { cardDigits, longestLabel } from "../logic/cardFile";
import { explainResult, stateOfResult } from "../logic/results";
import { doorKey } from "../model/types";
import type { CardEntry, CardSource, Door, Row } from "../model/types";
import type { Context } from "./context";
import { Dialog } from "./dialog";
import { DoorChoice } from "./doorChoice";
import { field, h } from "./dom";
import { marked } from "./marks";
import { doorName, operationText, timeElement } from "./words";

type WhitelistOperation = "whitelist-add" | "whitelist-remove";

interface Round {
    operation: WhitelistOperation;
    dialog: Dialog;
    choice: DoorChoice;
    go: HTMLButtonElement;
    context: Context;
    // What the request has besides its door; null if it cannot be sent yet.
    source: (door: Door) => (CardSource & { label?: string }) | null;
}

// Sends the request to each chosen door, one after another. A door that is done is unticked, so that another touch
// tries only the rest. Closing the dialog ends it behind the request that is under way.
async function sendToChosen(round: Round): Promise<void> {
    const { choice, dialog, context, go } = round;
    const doors = choice.chosen;
    if (doors.length === 0) {
        dialog.tell(context.texts.cards.chooseDoor);
        return;
    }
    if (go.getAttribute("aria-disabled") === "true") {
        return;
    }
    go.setAttribute("aria-disabled", "true");
    choice.lock(true);
    for (const door of doors) {
        if (dialog.isOpen && !(await sendToOne(round, door))) {
            break;
        }
    }
    choice.lock(false);
    go.setAttribute("aria-disabled", "false");
    if (choice.chosen.length === 0) {
        dialog.offerClosing();
    }
}

// False if the request cannot be made at all.
async function sendToOne(round: Round, door: Door): Promise<boolean> {
    const { operation, choice, dialog, context } = round;
    const { texts } = context;
    const source = round.source(door);
    if (source === null) {
        return false;
    }
    choice.showResult(door, marked("busy", texts.underWay));
    const outcome = await context.api.request({ operation, gateway: door.gateway, lock: door.lock, ...source });
    const text = explainResult(operation, outcome, texts);
    choice.showResult(door, marked(stateOfResult(outcome.result), text));
    dialog.tell(`${doorName(door, context)}: ${text}`);
    if (outcome.result === "ack") {
        choice.untick(door);
    }
    return true;
}

function goButton(label: string, dialog: Dialog): HTMLButtonElement {
    const go = h("button", { type: "button", class: "primary go" }, h("span", { class: "spinner" }), label);
    dialog.buttons.prepend(go);
    return go;
}

// Gives a card access: that of an event just seen, or one whose data is entered by hand.
export function showGiveDialog(card: { row: Row | null }, context: Context): void {
    const { texts } = context;
    const { row } = card;
    const title = row !== null ? texts.cards.giveTitle(row.card) : texts.cards.giveNew;
    const dialog = new Dialog(title, context);
    const doors = context.site.doorsWith("whitelist");
    const presentedAt = row !== null ? doorKey(row) : "";
    const note = (door: Door): string => (doorKey(door) === presentedAt ? texts.cards.presentedHere : "");
    const sorted = [...doors].sort(
        (one, other) => Number(doorKey(other) === presentedAt) - Number(doorKey(one) === presentedAt),
    );
    const choice = new DoorChoice(sorted, new Set([presentedAt]), note, context);
    const digits = h("input", { type: "text", autocomplete: "off", spellcheck: "false", autocapitalize: "characters" });
    const name = h("input", { type: "text", maxlength: longestLabel, autocomplete: "off" });
    const go = goButton(texts.cards.give, dialog);
    const source = (): (CardSource & { label?: string }) | null => {
        const data = cardDigits(digits.value);
        if (row === null && data === "") {
            dialog.tell(texts.cards.digitsFault);
            digits.focus();
            return null;
        }
        return { ...(row !== null ? { event: row.n } : { card: data }), label: name.value.trim() };
    };
    const round: Round = { operation: "whitelist-add", dialog, choice, go, context, source };
    go.addEventListener("click", () => void sendToChosen(round));
    if (row !== null) {
        const event = `${operationText(row.operation, context)}: ${doorName(row, context)}, `;
        dialog.body.append(h("p", {}, event, timeElement(row.time, context)));
        go.autofocus = true;
    } else {
        dialog.body.append(field(texts.cards.digits, digits, texts.cards.digitsHint));
    }
    dialog.body.append(choice.element, field(texts.cards.name, name, texts.cards.nameHint));
    dialog.show();
}

// Takes access away: at the door of the entry, and at others that seem to be the same card's if they are ticked too.
export function showTakeDialog(entry: CardEntry, all: CardEntry[], context: Context, onDone: () => void): void {
    const { texts } = context;
    const dialog = new Dialog(texts.cards.takeTitle(entry.card), context);
    const alike = all.filter((one) => one.card === entry.card && one.label === entry.label);
    const byDoor = new Map([...alike, entry].map((one) => [doorKey(one), one]));
    const doors = context.site.doorsWith("whitelist").filter((door) => byDoor.has(doorKey(door)));
    const choice = new DoorChoice(doors, new Set([doorKey(entry)]), () => "", context);
    const go = goButton(texts.cards.take, dialog);
    go.autofocus = true;
    const source = (door: Door): CardSource => ({ entry: byDoor.get(doorKey(door))?.entry ?? entry.entry });
    const round: Round = { operation: "whitelist-remove", dialog, choice, go, context, source };
    go.addEventListener("click", () => void sendToChosen(round).then(onDone));
    dialog.body.append(
        ...(entry.label !== "" ? [h("p", {}, entry.label)] : []),
        choice.element,
        ...(doors.length > 1 ? [h("p", { class: "hint" }, texts.cards.takeHint)] : []),
    );
    dialog.show();
}
