import { cardDigits, longestLabel } from "../logic/cardFile";
import { doorKey } from "../model/types";
import type { CardEntry, Door, Row } from "../model/types";
import type { Context } from "./context";
import { Dialog } from "./dialog";
import { DoorChoice } from "./doorChoice";
import { field, h } from "./dom";
import { WhitelistRound } from "./whitelistRound";
import type { WhitelistOrder } from "./whitelistRound";
import { doorName, operationText, timeElement } from "./words";

// The doors where the user may change cards; that where the card was presented comes first and is ticked.
function doorsFor(row: Row | null, context: Context): DoorChoice {
    const presentedAt = row !== null ? doorKey(row) : "";
    const isThere = (door: Door): boolean => doorKey(door) === presentedAt;
    const doors = context.site.doorsWith("whitelist");
    const sorted = [...doors.filter(isThere), ...doors.filter((door) => !isThere(door))];
    const note = (door: Door): string => (isThere(door) ? context.texts.cards.presentedHere : "");
    return new DoorChoice(sorted, new Set([presentedAt]), note, context);
}

function eventText(row: Row, context: Context): HTMLElement {
    const event = `${operationText(row.operation, context)}: ${doorName(row, context)}, `;
    return h("p", {}, event, timeElement(row.time, context));
}

// Gives a card access: that of an event just seen, or one whose data is entered by hand.
export function showGiveDialog(card: { row: Row | null }, context: Context): void {
    const { cards } = context.texts;
    const { row } = card;
    const dialog = new Dialog(row !== null ? cards.giveTitle(row.card) : cards.giveNew, context);
    const choice = doorsFor(row, context);
    const digits = h("input", { type: "text", autocomplete: "off", spellcheck: "false", autocapitalize: "characters" });
    const name = h("input", { type: "text", maxlength: longestLabel, autocomplete: "off" });
    const order: WhitelistOrder = {
        operation: "whitelist-add",
        label: cards.give,
        fault: () => (row === null && cardDigits(digits.value) === "" ? cards.digitsFault : ""),
        source: () => ({
            ...(row !== null ? { event: row.n } : { card: cardDigits(digits.value) }),
            label: name.value.trim(),
        }),
    };
    const round = new WhitelistRound(order, dialog, choice, context);
    round.go.autofocus = row !== null;
    dialog.body.append(
        row !== null ? eventText(row, context) : field(cards.digits, digits, cards.digitsHint),
        choice.element,
        field(cards.name, name, cards.nameHint),
    );
    dialog.show();
}

// Takes access away: at the door of the entry, and at others that seem to be the same card's if they are ticked too.
export function showTakeDialog(entry: CardEntry, all: CardEntry[], context: Context, onDone: () => void): void {
    const { cards } = context.texts;
    const dialog = new Dialog(cards.takeTitle(entry.card), context);
    const alike = all.filter((one) => one.card === entry.card && one.label === entry.label);
    const byDoor = new Map([...alike, entry].map((one) => [doorKey(one), one]));
    const doors = context.site.doorsWith("whitelist").filter((door) => byDoor.has(doorKey(door)));
    const choice = new DoorChoice(doors, new Set([doorKey(entry)]), () => "", context);
    const order: WhitelistOrder = {
        operation: "whitelist-remove",
        label: cards.take,
        fault: () => "",
        source: (door) => ({ entry: byDoor.get(doorKey(door))?.entry ?? entry.entry }),
    };
    const round = new WhitelistRound(order, dialog, choice, context, onDone);
    round.go.autofocus = true;
    dialog.body.append(
        ...(entry.label !== "" ? [h("p", {}, entry.label)] : []),
        choice.element,
        ...(doors.length > 1 ? [h("p", { class: "hint" }, cards.takeHint)] : []),
    );
    dialog.show();
}
