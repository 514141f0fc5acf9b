import { viewBattery } from "../logic/battery";
import { explainResult, stateOfResult } from "../logic/results";
import { firstBusy } from "../model/site";
import { doorKey, doorOperations } from "../model/types";
import type { Door, DoorOperation, Row } from "../model/types";
import type { Context } from "./context";
import { h, newId, present } from "./dom";
import type { Child } from "./dom";
import { showGiveDialog } from "./giveDialog";
import { isInUse, onRelease } from "./hold";
import { mark, marked } from "./marks";
import { doorName, operationText, resultElement, timeElement } from "./words";

const defaultDuration = 5;
const longestDuration = 255;
// What was chosen stays while the page is open.
const durations = new Map<string, number>();

// One door with its facts, buttons and answer: an empty place for it until fill().
export class DoorCard {
    readonly element: HTMLElement;
    private isFilled_ = false;
    private readonly name_: string;
    private readonly buttons_ = new Map<DoorOperation, HTMLButtonElement>();
    private readonly old_ = h("span", { class: "old", hidden: true });
    private readonly busy_ = h("p", { class: "under-way", hidden: true });
    private readonly refreshers_: ((door: Door) => void)[] = [];
    private readonly answer_ = h("p", { class: "answer", hidden: true });
    private readonly seconds_ = h("button", {
        type: "button",
        class: "seconds",
        click: () => this.typeDuration(),
        keydown: (event: KeyboardEvent) => this.stepByKey(event),
    });

    constructor(
        private door_: Door,
        private readonly context_: Context,
    ) {
        this.name_ = doorName(door_, context_);
        this.element = h("article", { class: "door", "data-door": doorKey(door_) });
    }

    // Only the first call does something.
    fill(): void {
        if (this.isFilled_) {
            return;
        }
        this.isFilled_ = true;
        const titleId = newId("door");
        const { name, lock } = this.door_;
        const where = name !== "" && h("span", { class: "where" }, this.context_.texts.lock(lock));
        // Nothing that comes and goes stands above the buttons: they would move away from under a finger.
        const head = h("header", {}, h("h3", { id: titleId }, this.name_), where, this.old_);
        this.element.setAttribute("aria-labelledby", titleId);
        this.element.append(...present([head, this.actions(), this.busy_, this.answer_, this.facts()]));
        this.update(this.door_);
    }

    update(door: Door): void {
        this.door_ = door;
        if (!this.isFilled_) {
            return;
        }
        this.showBusy();
        this.refreshers_.forEach((refresh) => refresh(door));
        this.buttons_.forEach((button, operation) => this.showProgress(button, operation));
        this.showAnswer();
        this.showAge();
    }

    // Marks what it shows as old while the connection is lost.
    showAge(): void {
        const { site, texts, clock } = this.context_;
        this.old_.hidden = site.connection.state !== "lost";
        this.old_.textContent = this.old_.hidden ? "" : texts.health.asOf(clock.text(site.asOf));
    }

    private facts(): HTMLElement {
        const { texts } = this.context_;
        const list = h("dl", { class: "facts" });
        this.addFact(
            list,
            texts.doors.lastResult,
            (door) => door.lastResult,
            (door) => this.resultOf(door.lastResult),
        );
        if (this.door_.rights.includes("events")) {
            this.addFact(
                list,
                texts.doors.lastEvent,
                (door) => door.lastEvent,
                (door) => this.eventOf(door.lastEvent),
            );
        }
        this.addFact(
            list,
            texts.battery.title,
            (door) => door.battery,
            (door) => this.batteryOf(door),
        );
        return list;
    }

    // `source` is what the fact is drawn from: it is drawn anew only when that changed, or a finger on its button would
    // miss.
    private addFact(
        list: HTMLElement,
        title: string,
        source: (door: Door) => unknown,
        draw: (door: Door) => Child[],
    ): void {
        const content = h("dd");
        let drawn = "";
        list.append(h("div", {}, h("dt", {}, title), content));
        const refresh = (door: Door): void => {
            const wanted = JSON.stringify(source(door));
            if (wanted !== drawn && !isInUse(content)) {
                drawn = wanted;
                content.replaceChildren(...present(draw(door)));
            }
        };
        onRelease(content, () => refresh(this.door_));
        this.refreshers_.push(refresh);
    }

    private batteryOf(door: Door): Child[] {
        const battery = viewBattery(door.battery, this.context_.texts);
        return [marked(battery.state, battery.text), door.battery !== null && this.at(door.battery.time)];
    }

    private at(time: number): HTMLElement {
        return h("span", { class: "aside" }, timeElement(time, this.context_));
    }

    private resultOf(row: Row | null): Child[] {
        if (row === null) {
            return [this.context_.texts.none];
        }
        const operation = `${operationText(row.operation, this.context_)}: `;
        const result = resultElement(row, this.context_);
        result.lastElementChild?.prepend(operation);
        return [result, this.at(row.time)];
    }

    private eventOf(row: Row | null): Child[] {
        if (row === null) {
            return [this.context_.texts.none];
        }
        const text = `${operationText(row.operation, this.context_)} ${row.card}`;
        return [text, this.at(row.time), row.cardEvent === true && giveButton(row, this.context_)];
    }

    private showBusy(): void {
        const busy = firstBusy(this.door_.busy);
        const { texts, clock } = this.context_;
        this.busy_.hidden = busy === undefined;
        this.busy_.replaceChildren();
        if (busy !== undefined) {
            const operation = operationText(busy.operation, this.context_);
            const more = this.door_.busy.length > 1 ? ` (${texts.moreRows(this.door_.busy.length - 1)})` : "";
            this.busy_.append(marked("busy", texts.doors.busy(operation, clock.text(busy.since), busy.client) + more));
        }
    }

    private actions(): HTMLElement | null {
        const allowed = doorOperations.filter((operation) => this.door_.rights.includes(operation));
        const label = this.context_.texts.doors.actions(this.name_);
        return allowed.length === 0
            ? null
            : h(
                  "div",
                  { class: "actions", role: "group", "aria-label": label },
                  ...allowed.map((one) => this.action(one)),
              );
    }

    private action(operation: DoorOperation): HTMLElement {
        const button = h(
            "button",
            {
                type: "button",
                class: operation === "open" ? "primary" : "",
                "data-operation": operation,
                click: () => void this.run(operation),
            },
            h("span", { class: "spinner" }),
            h("span", { class: "label" }),
        );
        this.buttons_.set(operation, button);
        this.labelButton(operation);
        return operation === "open-close" ? this.timed(button) : button;
    }

    private labelButton(operation: DoorOperation): void {
        const { texts } = this.context_;
        const button = this.buttons_.get(operation);
        const label = operation === "open-close" ? texts.doors.openFor(this.duration()) : texts.buttons[operation];
        button?.lastElementChild?.replaceChildren(label);
        button?.setAttribute("aria-label", `${label}, ${this.name_}`);
    }

    private labelDuration(): void {
        const label = this.context_.texts.doors.changeDuration(this.duration());
        this.seconds_.textContent = String(this.duration());
        this.seconds_.setAttribute("aria-label", `${label}, ${this.name_}`);
    }

    private timed(button: HTMLElement): HTMLElement {
        const { texts } = this.context_;
        this.labelDuration();
        return h(
            "div",
            { class: "timed" },
            button,
            h(
                "div",
                { class: "stepper" },
                this.step("−", texts.doors.shorter, -1),
                this.seconds_,
                this.step("+", texts.doors.longer, 1),
            ),
        );
    }

    // There is a field only while seconds are typed: browsers look through all fields of a page for passwords to fill in,
    // again and again, which takes most of a second where hundreds of doors have one.
    private typeDuration(): void {
        const before = this.duration();
        const input: HTMLInputElement = h("input", {
            type: "number",
            min: 1,
            max: longestDuration,
            value: this.duration(),
            inputmode: "numeric",
            "aria-label": `${this.context_.texts.doors.duration}, ${this.name_}`,
            input: () => this.keepDuration(Number(input.value)),
            keydown: (event: KeyboardEvent) => this.endTyping(event, input, before),
            // Not when the window loses the focus: it comes back to the field.
            blur: () => document.hasFocus() && input.replaceWith(this.seconds_),
        });
        this.seconds_.replaceWith(input);
        input.focus();
        input.select();
    }

    private endTyping(event: KeyboardEvent, input: HTMLElement, before: number): void {
        if (event.key !== "Enter" && event.key !== "Escape") {
            return;
        }
        if (event.key === "Escape") {
            this.keepDuration(before);
        }
        // Or the same key presses the button that gets the focus.
        event.preventDefault();
        input.blur();
        this.seconds_.focus();
    }

    private step(sign: string, label: string, by: number): HTMLElement {
        return h(
            "button",
            {
                type: "button",
                class: "step",
                "aria-label": `${label}, ${this.name_}`,
                click: () => this.keepDuration(this.duration() + by),
            },
            sign,
        );
    }

    private stepByKey(event: KeyboardEvent): void {
        const by = { ArrowUp: 1, ArrowDown: -1 }[event.key];
        if (by !== undefined) {
            event.preventDefault();
            this.keepDuration(this.duration() + by);
        }
    }

    private duration(): number {
        return durations.get(doorKey(this.door_)) ?? defaultDuration;
    }

    // What is not a number of seconds leaves the last one that was.
    private keepDuration(seconds: number): void {
        if (Number.isInteger(seconds) && seconds >= 1) {
            durations.set(doorKey(this.door_), Math.min(longestDuration, seconds));
        }
        this.labelButton("open-close");
        this.labelDuration();
    }

    private showProgress(button: HTMLButtonElement, operation: DoorOperation): void {
        const isBusy = this.context_.operator.isUnderWay(this.door_, operation);
        // Not "disabled", which would take the keyboard's focus away.
        button.setAttribute("aria-disabled", String(isBusy));
        button.setAttribute("aria-busy", String(isBusy));
    }

    private async run(operation: DoorOperation): Promise<void> {
        const { operator, texts, announce } = this.context_;
        const title = operationText(operation, this.context_);
        if (operator.isUnderWay(this.door_, operation)) {
            return;
        }
        announce(`${this.name_}, ${texts.doors.sending(title)}`);
        const outcome = await operator.run(this.door_, operation, this.duration());
        if (outcome !== null) {
            announce(`${this.name_}, ${title}: ${explainResult(operation, outcome, texts)}`);
        }
    }

    private showAnswer(): void {
        const { operator, texts } = this.context_;
        const answer = operator.answerAt(this.door_);
        this.answer_.hidden = answer === undefined;
        this.answer_.replaceChildren();
        if (answer !== undefined) {
            const state = stateOfResult(answer.outcome.result);
            const title = h("strong", {}, `${operationText(answer.operation, this.context_)}: `);
            this.answer_.className = `answer is-${state}`;
            this.answer_.append(
                mark(state),
                h("span", {}, title, explainResult(answer.operation, answer.outcome, texts), " ", this.at(answer.time)),
            );
        }
    }
}

// Null if there is no door where the user may change cards.
export function giveButton(row: Row, context: Context): HTMLElement | false {
    const label = context.texts.cards.give;
    return (
        context.site.doorsWith("whitelist").length > 0 &&
        h(
            "button",
            {
                type: "button",
                class: "small give",
                "aria-label": `${label}, ${row.card}`,
                click: () => showGiveDialog({ row }, context),
            },
            label,
        )
    );
}
