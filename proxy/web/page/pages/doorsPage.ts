import { matchesWords } from "../logic/filters";
import { gatewayTitle } from "../logic/health";
import { troublesOf } from "../logic/trouble";
import type { Change } from "../model/changes";
import { doorKey } from "../model/types";
import type { Door } from "../model/types";
import type { Context, Page } from "../view/context";
import { field, h } from "../view/dom";
import { DoorCard } from "../view/doorCard";
import { marked } from "../view/marks";
import { doorName, placeText } from "../view/words";

// So many doors are drawn at once, which is more than a screen has. The others follow frame by frame, as many as fit into
// so many milliseconds, and are not laid out while they are out of sight.
const manyDoors = 40;
const sliceTime = 8;

interface Group {
    section: HTMLElement;
    // Shown while the gateway answers nothing.
    silent: HTMLElement;
    gateway: number;
    keys: string[];
}

// All doors by gateway, with a search for large sites.
export class DoorsPage implements Page {
    readonly element: HTMLElement;
    readonly title: string;
    private readonly search_ = h("input", { type: "search", autocomplete: "off", input: () => this.filter() });
    private readonly onlyTrouble_ = h("input", { type: "checkbox", change: () => this.filter() });
    private readonly count_ = h("p", { class: "count", role: "status" });
    private readonly groups_ = h("div", { class: "groups" });
    private readonly none_ = h("p", { class: "empty", hidden: true });
    private cards_ = new Map<string, DoorCard>();
    private sections_: Group[] = [];
    private drawn_ = "";
    // Doors whose cards are to be drawn yet, and the frame in which that goes on.
    private waiting_: string[] = [];
    private frame_ = 0;

    constructor(private readonly context_: Context) {
        const { texts } = context_;
        this.title = texts.doors.title;
        this.element = h(
            "div",
            { class: "page doors-page" },
            h("h1", { tabindex: -1 }, this.title),
            h(
                "div",
                { class: "filters", role: "search" },
                field(texts.doors.filter, this.search_),
                h("label", { class: "check" }, this.onlyTrouble_, texts.doors.onlyTrouble),
                this.count_,
            ),
            this.none_,
            this.groups_,
        );
        this.draw();
    }

    update(change: Change): void {
        if (change.all) {
            this.draw();
            return;
        }
        change.doors.forEach((key) => this.updateCard(key));
        if (change.health) {
            this.showSilence();
        }
        if (change.connection) {
            this.cards_.forEach((card) => card.showAge());
        }
        if (this.onlyTrouble_.checked && (change.health || change.doors.size > 0)) {
            this.filter();
        }
    }

    leave(): void {
        cancelAnimationFrame(this.frame_);
    }

    private updateCard(key: string): void {
        const door = this.context_.site.doors.get(key);
        if (door !== undefined) {
            this.cards_.get(key)?.update(door);
        }
    }

    // The cards stay as long as the same doors and rights are there.
    private draw(): void {
        const doors = [...this.context_.site.doors.values()];
        const wanted = JSON.stringify(doors.map((door) => [doorKey(door), door.name, door.gatewayName, door.rights]));
        if (wanted !== this.drawn_) {
            this.drawn_ = wanted;
            this.rebuild(doors);
        }
        this.showSilence();
        this.filter();
        this.waiting_ = this.shownFirst();
        this.drawCards(manyDoors);
    }

    private shownFirst(): string[] {
        const isHidden = (key: string): boolean => this.cards_.get(key)?.element.hidden ?? true;
        const keys = [...this.cards_.keys()];
        return [...keys.filter((key) => !isHidden(key)), ...keys.filter(isHidden)];
    }

    // The next ones, `least` or more.
    private drawCards(least: number): void {
        const end = performance.now() + sliceTime;
        for (let count = 0; this.waiting_.length > 0 && (count < least || performance.now() < end); count += 1) {
            const key = this.waiting_.shift() as string;
            this.updateCard(key);
            this.cards_.get(key)?.fill();
        }
        cancelAnimationFrame(this.frame_);
        if (this.waiting_.length > 0) {
            this.frame_ = requestAnimationFrame(() => this.drawCards(1));
        }
    }

    private showSilence(): void {
        const silent = this.context_.site.health?.gateways.filter((gateway) => gateway.silent) ?? [];
        const numbers = new Set(silent.map((gateway) => gateway.gateway));
        this.sections_.forEach((group) => (group.silent.hidden = !numbers.has(group.gateway)));
    }

    private rebuild(doors: Door[]): void {
        this.cards_ = new Map(doors.map((door) => [doorKey(door), new DoorCard(door, this.context_)]));
        const gateways = [...new Set(doors.map((door) => door.gateway))];
        this.sections_ = gateways.map((gateway) => this.section(doors.filter((door) => door.gateway === gateway)));
        this.groups_.classList.toggle("many", doors.length > manyDoors);
        this.groups_.replaceChildren(...this.sections_.map((group) => group.section));
    }

    private section(doors: Door[]): Group {
        const { texts } = this.context_;
        const keys = doors.map(doorKey);
        const name = gatewayTitle(doors[0].gateway, doors[0].gatewayName, texts);
        const number =
            doors[0].gatewayName !== "" && h("span", { class: "aside" }, ` ${texts.gateway(doors[0].gateway)}`);
        const cards = keys.flatMap((key) => this.cards_.get(key)?.element ?? []);
        const silent = h("span", { class: "silent", hidden: true }, marked("bad", texts.health.gatewaySilent));
        const section = h("section", {}, h("h2", {}, name, number, silent), h("div", { class: "grid" }, ...cards));
        return { section, silent, gateway: doors[0].gateway, keys };
    }

    private filter(): void {
        const { site, texts } = this.context_;
        const shown = new Set([...site.doors.values()].filter((door) => this.isWanted(door)).map(doorKey));
        this.cards_.forEach((card, key) => (card.element.hidden = !shown.has(key)));
        this.sections_.forEach((group) => (group.section.hidden = !group.keys.some((key) => shown.has(key))));
        this.count_.textContent = texts.doors.count(shown.size, site.doors.size);
        this.none_.hidden = shown.size > 0 || site.asOf === 0;
        this.none_.textContent = site.doors.size === 0 ? texts.doors.noneAllowed : texts.doors.noneFound;
    }

    private isWanted(door: Door): boolean {
        const text = `${doorName(door, this.context_)} ${door.gatewayName} ${placeText(door, this.context_)}`;
        const isTrouble =
            !this.onlyTrouble_.checked || troublesOf(door, this.context_.site.health, this.context_.texts).length > 0;
        return isTrouble && matchesWords(this.search_.value.trim(), text);
    }
}
