import { CardFileFault, readCardFile } from "../logic/cardFile";
import type { CardLine } from "../logic/cardFile";
import { explainResult, stateOfResult } from "../logic/results";
import type { State } from "../logic/state";
import type { Outcome } from "../model/types";
import type { Context } from "./context";
import { Dialog } from "./dialog";
import { field, h } from "./dom";
import { marked } from "./marks";
import { doorName } from "./words";

const largestFile = 4 * 1024 ** 2;
const alreadyInList = 2;
// The server asks for patience when it has too much to do.
const patience = 1000;
const triesOfOne = 5;

function isDone(outcome: Outcome): boolean {
    return outcome.result === "ack" || (outcome.result === "nack" && outcome.errorCode === alreadyInList);
}

// Reads a file of cards and sends its lines one after another, until it ends, is stopped or closed.
class Import {
    private readonly dialog_: Dialog;
    private readonly summary_ = h("p", {});
    private readonly progress_: HTMLProgressElement;
    private readonly list_: HTMLElement;
    private readonly go_: HTMLButtonElement;
    private lines_: CardLine[] = [];
    private readonly done_ = new Set<CardLine>();
    private readonly items_ = new Map<CardLine, HTMLElement>();
    private isRunning_ = false;

    constructor(private readonly context_: Context) {
        const { cards } = context_.texts;
        this.dialog_ = new Dialog(cards.importTitle, context_);
        this.progress_ = h("progress", { hidden: true, value: 0, "aria-label": cards.importTitle });
        this.list_ = h("ol", { class: "import", "aria-label": cards.importTitle, tabindex: 0, hidden: true });
        this.go_ = h(
            "button",
            { type: "button", class: "primary", hidden: true, click: () => this.toggle() },
            cards.start,
        );
        const file: HTMLInputElement = h("input", {
            type: "file",
            accept: ".csv,text/csv",
            change: () => void this.read(file.files?.[0]),
        });
        this.dialog_.body.append(field(cards.file, file, cards.importHint), this.summary_, this.progress_, this.list_);
        this.dialog_.buttons.prepend(this.go_);
        this.dialog_.show();
    }

    private async read(file: File | undefined): Promise<void> {
        if (file === undefined || this.isRunning_) {
            return;
        }
        this.lines_ = [];
        this.done_.clear();
        const fault = file.size > largestFile ? this.context_.texts.cards.tooLarge : this.parse(await file.text());
        this.dialog_.tell(fault);
        this.showLines();
    }

    // What is wrong with the file, or empty.
    private parse(text: string): string {
        try {
            this.lines_ = readCardFile(text);
            return "";
        } catch (fault) {
            const { cards } = this.context_.texts;
            return fault instanceof CardFileFault
                ? `${cards.line(fault.line)}: ${cards.fileFaults[fault.reason]}`
                : String(fault);
        }
    }

    private usable(): CardLine[] {
        return this.lines_.filter((line) => line.fault === null);
    }

    private showLines(): void {
        const { cards } = this.context_.texts;
        const count = this.usable().length;
        this.items_.clear();
        this.list_.replaceChildren(...this.lines_.map((line) => this.item(line)));
        this.summary_.textContent =
            this.lines_.length > 0 ? cards.importSummary(count, this.lines_.length - count) : "";
        this.list_.hidden = this.lines_.length === 0;
        this.go_.hidden = count === 0;
        this.go_.textContent = cards.start;
        this.progress_.hidden = true;
    }

    private item(line: CardLine): HTMLElement {
        const { cards } = this.context_.texts;
        const result = h("span", { class: "result" });
        if (line.fault !== null) {
            result.append(marked("bad", cards.faults[line.fault]));
        }
        this.items_.set(line, result);
        const place = Number.isNaN(line.gateway + line.lock) ? "" : doorName(line, this.context_);
        const text = [line.label, line.card !== "" ? `*${line.card.slice(-4)}` : "", place]
            .filter((part) => part !== "")
            .join(", ");
        return h("li", {}, h("span", {}, h("span", { class: "aside" }, `${cards.line(line.line)} `), text), result);
    }

    private toggle(): void {
        if (this.isRunning_) {
            this.isRunning_ = false;
            return;
        }
        void this.send();
    }

    private async send(): Promise<void> {
        const { cards } = this.context_.texts;
        const lines = this.usable().filter((line) => !this.done_.has(line));
        this.isRunning_ = true;
        this.go_.textContent = cards.stop;
        this.progress_.hidden = false;
        this.progress_.max = lines.length;
        let sent = 0;
        for (const line of lines) {
            if (this.isRunning_ && this.dialog_.isOpen) {
                await this.sendLine(line);
                sent += 1;
                this.progress_.value = sent;
                this.summary_.textContent = cards.progress(sent, lines.length);
            }
        }
        this.finish(sent < lines.length);
    }

    private async sendLine(line: CardLine): Promise<void> {
        const { texts } = this.context_;
        this.show(line, "busy", texts.underWay);
        const outcome = await this.patiently(line);
        if (isDone(outcome)) {
            this.done_.add(line);
        }
        const isOld = isDone(outcome) && outcome.result === "nack";
        const text = isOld ? texts.cards.inList : explainResult("whitelist-add", outcome, texts);
        this.show(line, isOld ? "good" : stateOfResult(outcome.result), text);
    }

    private async patiently(line: CardLine): Promise<Outcome> {
        const request = {
            operation: "whitelist-add",
            gateway: line.gateway,
            lock: line.lock,
            card: line.card,
            label: line.label,
        };
        let outcome = await this.context_.api.request(request);
        for (let tries = 1; tries < triesOfOne && outcome.result === "too-many"; tries += 1) {
            await new Promise((resolve) => setTimeout(resolve, patience));
            outcome = await this.context_.api.request(request);
        }
        return outcome;
    }

    private show(line: CardLine, state: State, text: string): void {
        const item = this.items_.get(line);
        item?.replaceChildren(marked(state, text));
        item?.scrollIntoView({ block: "nearest" });
    }

    private finish(isStopped: boolean): void {
        const { cards } = this.context_.texts;
        const left = this.usable().length - this.done_.size;
        this.isRunning_ = false;
        this.go_.textContent = cards.retry;
        this.go_.hidden = left === 0;
        this.dialog_.tell(isStopped ? cards.stopped : cards.finished(this.done_.size, left));
    }
}

export function showImportDialog(context: Context): void {
    new Import(context);
}
