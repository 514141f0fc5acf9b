import { viewBattery } from "../logic/battery";
import { stateOfDoor, troublesOf } from "../logic/trouble";
import type { Change } from "../model/changes";
import { doorKey } from "../model/types";
import type { Door } from "../model/types";
import type { Context, Page } from "../view/context";
import { h } from "../view/dom";
import { lineItem } from "../view/lineItem";
import { mark, marked } from "../view/marks";
import { ScreenWake } from "../view/screenWake";
import { doorName, operationText, resultElement, timeElement } from "../view/words";

const shownLines = 12;

// So many doors and more get smaller tiles.
const sizes: [number, string][] = [[61, "tiny"], [25, "small"], [9, "medium"], [0, "large"]];

// For a screen on the wall: read from afar in two seconds, nothing to touch.
export class WallPage implements Page {
    readonly element: HTMLElement;
    readonly title: string;
    private readonly clock_ = h("p", { class: "clock" });
    private readonly day_ = h("p", { class: "day" });
    private readonly summary_ = h("p", { class: "summary" });
    private readonly tiles_ = h("ul", { class: "tiles" });
    private readonly lines_: HTMLElement;
    private readonly items_ = new Map<string, HTMLElement>();
    private readonly timer_: number;
    private readonly wake_ = new ScreenWake();

    constructor(private readonly context_: Context) {
        const { texts, session } = context_;
        this.title = session.title || texts.wall.title;
        this.lines_ = h("ol", { "class": "lines", "aria-label": texts.wall.lastEvents });
        this.element = h(
            "div", { class: "page wall-page" },
            h("div", { class: "head" }, h("h1", { tabindex: -1 }, this.title), this.summary_, h("div", { class: "now" }, this.clock_, this.day_)),
            h("div", { class: "board" }, this.tiles_, h("section", { class: "side" }, h("h2", {}, texts.wall.lastEvents), this.lines_)),
            h("p", { class: "leave" }, h("a", { href: "#/doors" }, texts.wall.leave)),
        );
        this.timer_ = window.setInterval(() => this.tick(), 1000);
        this.wake_.start();
        this.tick();
        this.drawAll();
        this.drawLines();
    }

    update(change: Change): void {
        if (change.all || change.health) {
            this.drawAll();
        } else {
            change.doors.forEach((key) => this.drawOne(key));
        }
        if (change.all || change.lines.length > 0) {
            this.drawLines();
        }
        if (change.doors.size > 0 || change.connection) {
            this.summarize();
        }
    }

    leave(): void {
        clearInterval(this.timer_);
        this.wake_.stop();
    }

    private tick(): void {
        const now = Date.now();
        this.clock_.textContent = this.context_.clock.minute(now);
        this.day_.textContent = this.context_.clock.day(now);
    }

    private drawAll(): void {
        const { site } = this.context_;
        const doors = [...site.doors.values()];
        this.items_.clear();
        doors.forEach((door) => this.items_.set(doorKey(door), h("li", { "data-door": doorKey(door) })));
        this.tiles_.className = `tiles ${sizes.find(([least]) => doors.length >= least)?.[1] ?? ""}`;
        this.tiles_.replaceChildren(...this.items_.values());
        doors.forEach((door) => this.drawOne(doorKey(door)));
        this.summarize();
    }

    private drawOne(key: string): void {
        const door = this.context_.site.doors.get(key);
        const item = this.items_.get(key);
        if (door === undefined || item === undefined) {
            return;
        }
        const { site, texts } = this.context_;
        const troubles = troublesOf(door, site.health, texts);
        const state = stateOfDoor(door, troubles);
        item.className = `tile is-${state}`;
        item.replaceChildren(
            h("h2", {}, mark(state), h("span", {}, doorName(door, this.context_))),
            ...troubles.slice(0, 2).map((trouble) => h("p", { class: "trouble" }, marked(trouble.state, trouble.text))),
            h("p", { class: "result" }, ...this.resultOf(door)), h("p", { class: "battery" }, this.batteryOf(door)),
        );
    }

    private resultOf(door: Door): (Node | string)[] {
        const { texts } = this.context_;
        if (door.busy.length > 0) {
            return [marked("busy", `${operationText(door.busy[0].operation, this.context_)}: ${texts.underWay}`)];
        }
        if (door.lastResult === null) {
            return [texts.wall.noResult];
        }
        const result = resultElement({ ...door.lastResult, client: null, milliseconds: -1 }, this.context_);
        result.lastElementChild?.prepend(`${operationText(door.lastResult.operation, this.context_)}: `);
        return [result, " ", timeElement(door.lastResult.time, this.context_)];
    }

    private batteryOf(door: Door): string {
        const { texts } = this.context_;
        return `${texts.battery.title}: ${viewBattery(door.battery, texts).text}`;
    }

    private drawLines(): void {
        const lines = this.context_.site.lines.all.slice(-shownLines).reverse();
        this.lines_.replaceChildren(...lines.map((line) => lineItem(line, this.context_, false)));
    }

    private summarize(): void {
        const { site, texts } = this.context_;
        if (site.connection.state !== "live") {
            this.summary_.replaceChildren(marked("unsure", texts.notKnown));
            return;
        }
        const count = [...site.doors.values()].filter((door) => troublesOf(door, site.health, texts).length > 0).length;
        const text = count === 0 ? texts.wall.allWell : texts.wall.troubles(count);
        this.summary_.replaceChildren(marked(count === 0 ? "good" : "bad", text));
    }
}
