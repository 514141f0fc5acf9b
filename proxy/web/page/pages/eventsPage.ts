import { matchesRow } from "../logic/filters";
import { gatewayTitle } from "../logic/health";
import type { Change } from "../model/changes";
import { keptLines } from "../model/lines";
import type { Line } from "../model/lines";
import type { Context, Page } from "../view/context";
import { field, h, select, setOptions } from "../view/dom";
import { isInUse, onRelease } from "../view/hold";
import { lineItem } from "../view/lineItem";
import { doorOptions, rowText } from "../view/words";

const eventKinds = ["card", "pin", "allowed", "battery-low", "battery-good"];

// What happens, newest on top, as it comes.
export class EventsPage implements Page {
    readonly element: HTMLElement;
    readonly title: string;
    private readonly text_ = h("input", { type: "search", autocomplete: "off", input: () => this.redraw() });
    private readonly place_ = select([], () => this.redraw());
    private readonly kind_ = select([], () => this.redraw());
    private readonly list_: HTMLElement;
    private readonly none_ = h("p", { class: "empty" });
    private readonly pause_ = h("button", { type: "button", class: "pause", click: () => this.togglePause() });
    private readonly paused_ = h("p", { class: "count" });
    private isPaused_ = false;
    private waiting_ = 0;

    constructor(private readonly context_: Context) {
        const { texts } = context_;
        this.title = texts.events.title;
        // Not a live region: at a busy site nobody could listen to it.
        this.list_ = h("ol", { class: "lines", "aria-label": texts.events.list });
        this.element = h(
            "div",
            { class: "page events-page" },
            h("h1", { tabindex: -1 }, this.title),
            h(
                "div",
                { class: "filters", role: "search" },
                field(texts.events.filter, this.text_),
                field(texts.events.door, this.place_),
                field(texts.events.kind, this.kind_),
                this.pause_,
                this.paused_,
            ),
            this.none_,
            this.list_,
            h("p", { class: "hint" }, texts.events.kept),
        );
        setOptions(this.kind_, this.kindOptions());
        this.pause_.textContent = texts.events.pause;
        onRelease(this.list_, () => this.release());
        this.refresh();
    }

    update(change: Change): void {
        if (change.all) {
            this.refresh();
        } else if (this.isPaused_ || isInUse(this.list_)) {
            this.count(change.lines);
        } else {
            this.prepend(change.lines);
        }
    }

    private kindOptions(): [string, string][] {
        const { texts } = this.context_;
        return [
            ["", texts.events.allKinds],
            ["event", texts.kinds.event],
            ["request", texts.kinds.request],
            ...eventKinds.map((kind): [string, string] => [kind, texts.operations[kind]]),
        ];
    }

    private placeOptions(): [string, string][] {
        const { site, texts } = this.context_;
        const doors = [...site.doors.values()];
        const gateways = new Map(doors.map((door) => [door.gateway, door.gatewayName]));
        return [
            ["", texts.events.allDoors],
            ...[...gateways].map(([number, name]): [string, string] => [
                `${number}/`,
                gatewayTitle(number, name, texts),
            ]),
            ...doorOptions(doors, this.context_),
        ];
    }

    private refresh(): void {
        setOptions(this.place_, this.placeOptions());
        if (!this.isPaused_) {
            this.redraw();
        }
    }

    private isWanted(line: Line): boolean {
        const filter = { place: this.place_.value, kind: this.kind_.value, text: this.text_.value };
        return line.type !== "row" || matchesRow(filter, line.row, (row) => rowText(row, this.context_));
    }

    private redraw(): void {
        this.waiting_ = 0;
        this.count([]);
        this.list_.replaceChildren();
        this.prepend(this.context_.site.lines.all);
    }

    private prepend(lines: readonly Line[]): void {
        const items = lines.filter((line) => this.isWanted(line)).map((line) => lineItem(line, this.context_));
        this.list_.prepend(...items.reverse());
        while (this.list_.childElementCount > keptLines) {
            this.list_.lastElementChild?.remove();
        }
        const { events } = this.context_.texts;
        this.none_.hidden = this.list_.childElementCount > 0;
        this.none_.textContent = this.context_.site.lines.all.length > 0 ? events.noneFound : events.none;
    }

    private count(lines: readonly Line[]): void {
        this.waiting_ += lines.filter((line) => this.isWanted(line)).length;
        const isHeld = this.isPaused_ || this.waiting_ > 0;
        this.paused_.textContent = isHeld ? this.context_.texts.events.paused(this.waiting_) : "";
    }

    private togglePause(): void {
        const { events } = this.context_.texts;
        this.isPaused_ = !this.isPaused_;
        this.pause_.textContent = this.isPaused_ ? events.resume : events.pause;
        this.redraw();
        this.context_.announce(this.paused_.textContent ?? "");
    }

    private release(): void {
        if (!this.isPaused_ && this.waiting_ > 0) {
            this.redraw();
        }
    }
}
