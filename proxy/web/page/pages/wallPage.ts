import { viewBattery } from "../logic/battery";
import { stateOfDoor, troublesOf } from "../logic/trouble";
import type { Trouble } from "../logic/trouble";
import { worstOf } from "../logic/state";
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

const mostTiles = 36;
// So many doors and more get smaller tiles.
const sizes: [number, string][] = [
    [25, "tiny"],
    [13, "small"],
    [7, "medium"],
    [0, "large"],
];

// For a screen on the wall: read from afar in two seconds, nothing to touch.
export class WallPage implements Page {
    readonly element: HTMLElement;
    readonly title: string;
    private readonly clock_ = h("p", { class: "clock" });
    private readonly day_ = h("p", { class: "day" });
    private readonly summary_ = h("p", { class: "summary" });
    private readonly tiles_ = h("ul", { class: "tiles" });
    private readonly rest_ = h("p", { class: "rest" });
    private readonly lines_: HTMLElement;
    private readonly items_ = new Map<string, HTMLElement>();
    private readonly timer_: number;
    private readonly wake_ = new ScreenWake();

    constructor(private readonly context_: Context) {
        const { texts, session } = context_;
        this.title = session.title || texts.wall.title;
        this.lines_ = h("ol", { class: "lines", "aria-label": texts.wall.lastEvents });
        this.element = h(
            "div",
            { class: "page wall-page" },
            h(
                "div",
                { class: "head" },
                h("h1", { tabindex: -1 }, this.title),
                this.summary_,
                h("div", { class: "now" }, this.clock_, this.day_),
            ),
            h(
                "div",
                { class: "board" },
                h("div", {}, this.tiles_, this.rest_),
                h("section", { class: "side" }, h("h2", {}, texts.wall.lastEvents), this.lines_),
            ),
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
        } else if (change.doors.size > 0 && this.chosenKeys().join() !== [...this.items_.keys()].join()) {
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

    // The doors that have a tile. Where not all have room, those with trouble or something under way come first.
    private chosenKeys(): string[] {
        const { site, texts } = this.context_;
        const doors = [...site.doors.values()];
        const needsLook = (door: Door): boolean =>
            door.busy.length > 0 || troublesOf(door, site.health, texts).length > 0;
        const sorted =
            doors.length > mostTiles
                ? [...doors.filter(needsLook), ...doors.filter((door) => !needsLook(door))]
                : doors;
        return sorted.slice(0, mostTiles).map(doorKey);
    }

    private drawAll(): void {
        const { site, texts } = this.context_;
        const keys = this.chosenKeys();
        this.items_.clear();
        keys.forEach((key) => this.items_.set(key, h("li", { "data-door": key })));
        this.tiles_.className = `tiles ${sizes.find(([least]) => keys.length >= least)?.[1] ?? ""}`;
        this.tiles_.replaceChildren(...this.items_.values());
        keys.forEach((key) => this.drawOne(key));
        this.rest_.textContent = site.doors.size > keys.length ? texts.wall.rest(site.doors.size - keys.length) : "";
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
            ...troubles
                .filter((one) => one.about === "gateway")
                .map((one) => h("p", { class: "trouble" }, marked(one.state, one.text))),
            this.fact("result", troubles, ...this.resultOf(door)),
            this.fact("battery", troubles, this.batteryOf(door)),
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

    private fact(about: Trouble["about"], troubles: Trouble[], ...content: (Node | string)[]): HTMLElement {
        const isTrouble = troubles.some((trouble) => trouble.about === about);
        return h("p", { class: isTrouble ? `trouble ${about}` : about }, ...content);
    }

    private batteryOf(door: Door): HTMLElement {
        const { texts } = this.context_;
        const { state, text } = viewBattery(door.battery, texts);
        return marked(state, `${texts.battery.title}: ${text}`);
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
        const troubled = [...site.doors.values()]
            .map((door) => troublesOf(door, site.health, texts))
            .filter((found) => found.length > 0);
        const state = worstOf(troubled.flat().map((trouble) => trouble.state));
        const text = troubled.length === 0 ? texts.wall.allWell : texts.wall.troubles(troubled.length);
        this.summary_.replaceChildren(marked(state, text));
    }
}
