import { matchesWords } from "../logic/filters";
import { ApiError } from "../model/api";
import type { Change } from "../model/changes";
import type { Line, RowLine } from "../model/lines";
import type { CardEntry } from "../model/types";
import type { Context, Page } from "../view/context";
import { field, h } from "../view/dom";
import { apiErrorText } from "../view/errors";
import { showGiveDialog, showTakeDialog } from "../view/giveDialog";
import { isInUse, onRelease } from "../view/hold";
import { showImportDialog } from "../view/importDialog";
import { lineItem } from "../view/lineItem";
import { doorName, placeText, timeElement } from "../view/words";

const shownPresented = 5;
// Several locks may change at once; one reading of the list is enough for them.
const reloadDelay = 400;

function isPresented(line: Line): line is RowLine {
    return line.type === "row" && line.isOfThisRun && line.row.cardEvent === true;
}

// Cards just presented, and the list of those entered through the proxy.
export class CardsPage implements Page {
    readonly element: HTMLElement;
    readonly title: string;
    private readonly presented_: HTMLElement;
    private readonly search_ = h("input", { type: "search", autocomplete: "off", input: () => this.draw() });
    private readonly count_ = h("p", { class: "count", role: "status" });
    private readonly body_ = h("tbody");
    private readonly none_ = h("p", { class: "empty" });
    private readonly lead_ = h("p", { class: "lead" });
    private entries_: CardEntry[] = [];
    private timer_ = 0;
    private isOutdated_ = false;

    constructor(private readonly context_: Context) {
        const { texts } = context_;
        this.title = texts.cards.title;
        this.presented_ = h("ol", { class: "lines", "aria-label": texts.cards.presented });
        this.element = h(
            "div",
            { class: "page cards-page" },
            h("h1", { tabindex: -1 }, this.title),
            this.lead_,
            h("section", {}, h("h2", {}, texts.cards.presented), this.presented_),
            h("section", {}, h("h2", {}, texts.cards.entered), this.tools(), this.none_, this.table()),
        );
        onRelease(this.presented_, () => this.refreshPresented());
        this.drawPresented();
        void this.load();
    }

    update(change: Change): void {
        this.isOutdated_ = this.isOutdated_ || change.all || change.lines.some(isPresented);
        this.refreshPresented();
        const isChanged = change.lines.some(
            (line) => line.type === "row" && line.row.operation.startsWith("whitelist-"),
        );
        if (change.all || isChanged) {
            this.loadSoon();
        }
    }

    leave(): void {
        clearTimeout(this.timer_);
    }

    private tools(): HTMLElement {
        const { texts } = this.context_;
        return h(
            "div",
            { class: "filters", role: "search" },
            field(texts.cards.find, this.search_),
            h(
                "button",
                { type: "button", click: () => showGiveDialog({ row: null }, this.context_) },
                texts.cards.newCard,
            ),
            h("a", { class: "button", href: "/api/cards.csv", download: "cards.csv" }, texts.cards.exportFile),
            h("button", { type: "button", click: () => showImportDialog(this.context_) }, texts.cards.importFile),
            this.count_,
        );
    }

    private table(): HTMLElement {
        const { cards } = this.context_.texts;
        const columns = [cards.name, cards.card, cards.door, cards.client, cards.time];
        return h(
            "div",
            { class: "scroller", tabindex: 0, role: "region", "aria-label": cards.entered },
            h(
                "table",
                { class: "data" },
                h("thead", {}, h("tr", {}, ...columns.map((text) => h("th", { scope: "col" }, text)), h("td"))),
                this.body_,
            ),
        );
    }

    private refreshPresented(): void {
        if (this.isOutdated_ && !isInUse(this.presented_)) {
            this.isOutdated_ = false;
            this.drawPresented();
        }
    }

    private drawPresented(): void {
        const { site, texts } = this.context_;
        const mayChange = site.asOf === 0 || site.doorsWith("whitelist").length > 0;
        this.lead_.textContent = mayChange ? texts.cards.what : texts.cards.noDoors;
        const lines = site.lines.all.filter(isPresented).slice(-shownPresented).reverse();
        const none = h("li", { class: "empty" }, texts.cards.nonePresented);
        this.presented_.replaceChildren(
            ...(lines.length > 0 ? lines.map((line) => lineItem(line, this.context_)) : [none]),
        );
    }

    private loadSoon(): void {
        clearTimeout(this.timer_);
        this.timer_ = window.setTimeout(() => void this.load(), reloadDelay);
    }

    private async load(): Promise<void> {
        try {
            this.entries_ = await this.context_.api.cards();
            this.draw();
        } catch (fault) {
            this.none_.hidden = false;
            this.none_.textContent = apiErrorText(fault as ApiError, this.context_.texts);
        }
    }

    private draw(): void {
        const { texts } = this.context_;
        const shown = this.entries_.filter((entry) => this.isWanted(entry));
        this.body_.replaceChildren(...shown.map((entry) => this.row(entry)));
        this.count_.textContent = texts.cards.count(shown.length, this.entries_.length);
        this.none_.hidden = shown.length > 0;
        this.none_.textContent = this.entries_.length === 0 ? texts.cards.none : texts.cards.noneFound;
    }

    private isWanted(entry: CardEntry): boolean {
        const place = `${doorName(entry, this.context_)} ${placeText(entry, this.context_)}`;
        return matchesWords(this.search_.value.trim(), [entry.label, entry.card, entry.client, place].join(" "));
    }

    private row(entry: CardEntry): HTMLElement {
        const { cards } = this.context_.texts;
        const cell = (title: string, ...content: (Node | string)[]): HTMLElement =>
            h("td", { "data-title": title }, ...content);
        const take = h(
            "button",
            {
                type: "button",
                class: "small",
                "aria-label": `${cards.take}, ${entry.label} ${entry.card}`,
                click: () => showTakeDialog(entry, this.entries_, this.context_, () => this.loadSoon()),
            },
            cards.take,
        );
        return h(
            "tr",
            { "data-entry": entry.entry },
            cell(cards.name, entry.label || "–"),
            cell(cards.card, entry.card),
            cell(cards.door, doorName(entry, this.context_)),
            cell(cards.client, entry.client),
            cell(cards.time, timeElement(entry.time, this.context_)),
            h("td", { class: "act" }, take),
        );
    }
}
