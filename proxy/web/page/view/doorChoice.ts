import { matchesWords } from "../logic/filters";
import { doorKey } from "../model/types";
import type { Door } from "../model/types";
import type { Context } from "./context";
import { field, h } from "./dom";
import { fullDoorName } from "./words";

// With more doors than this, they can be searched.
const fewDoors = 8;

// Doors to tick, with a line for what became of each.
export class DoorChoice {
    readonly element: HTMLElement;
    private readonly boxes_ = new Map<string, HTMLInputElement>();
    private readonly results_ = new Map<string, HTMLElement>();

    // `note` tells what is special about a door, or nothing.
    constructor(
        private readonly doors_: Door[],
        chosen: ReadonlySet<string>,
        note: (door: Door) => string,
        private readonly context_: Context,
    ) {
        const rows = doors_.map((door) => this.row(door, chosen.has(doorKey(door)), note(door)));
        const list = h("ul", { class: "choice" }, ...rows);
        const search = doors_.length > fewDoors && this.search(rows);
        this.element = h("fieldset", {}, h("legend", {}, context_.texts.cards.doors), search, list);
    }

    get chosen(): Door[] {
        return this.doors_.filter((door) => this.boxes_.get(doorKey(door))?.checked);
    }

    showResult(door: Door, content: Node): void {
        this.results_.get(doorKey(door))?.replaceChildren(content);
    }

    lock(isLocked: boolean): void {
        this.boxes_.forEach((box) => (box.disabled = isLocked));
    }

    untick(door: Door): void {
        const box = this.boxes_.get(doorKey(door));
        if (box !== undefined) {
            box.checked = false;
        }
    }

    private row(door: Door, isChosen: boolean, note: string): HTMLElement {
        const box = h("input", { type: "checkbox", "data-door": doorKey(door), checked: isChosen });
        const result = h("span", { class: "result" });
        this.boxes_.set(doorKey(door), box);
        this.results_.set(doorKey(door), result);
        const text = h(
            "span",
            {},
            fullDoorName(door, this.context_),
            note !== "" && h("span", { class: "aside" }, ` ${note}`),
        );
        return h("li", {}, h("label", {}, box, text), result);
    }

    private search(rows: HTMLElement[]): HTMLElement {
        const input = h("input", {
            type: "search",
            input: () => {
                rows.forEach((row, index) => {
                    const isChosen = this.boxes_.get(doorKey(this.doors_[index]))?.checked === true;
                    row.hidden =
                        !isChosen && !matchesWords(input.value.trim(), fullDoorName(this.doors_[index], this.context_));
                });
            },
        });
        return field(this.context_.texts.doors.filter, input);
    }
}
