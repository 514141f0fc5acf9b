import { explainResult, stateOfResult } from "../logic/results";
import type { CardSource, Door } from "../model/types";
import type { Context } from "./context";
import { Dialog } from "./dialog";
import { DoorChoice } from "./doorChoice";
import { h } from "./dom";
import { marked } from "./marks";
import { doorName } from "./words";

// What is sent to each door.
export interface WhitelistOrder {
    operation: "whitelist-add" | "whitelist-remove";
    // On the button.
    label: string;
    // Why it cannot be sent yet, or empty.
    fault(): string;
    // What the request has besides its door.
    source(door: Door): CardSource & { label?: string };
}

// A dialog's button that sends the order to each chosen door, one after another. A door that is done is unticked, so
// that another touch tries only the rest. Closing the dialog ends it behind the request that is under way.
export class WhitelistRound {
    readonly go: HTMLButtonElement;
    private isRunning_ = false;

    // `onDone` is called after each round.
    constructor(
        private readonly order_: WhitelistOrder,
        private readonly dialog_: Dialog,
        private readonly choice_: DoorChoice,
        private readonly context_: Context,
        onDone: () => void = () => undefined,
    ) {
        const send = (): void => void this.send().then(onDone);
        this.go = h(
            "button",
            { type: "button", class: "primary go", click: send },
            h("span", { class: "spinner" }),
            order_.label,
        );
        dialog_.buttons.prepend(this.go);
    }

    private async send(): Promise<void> {
        const doors = this.choice_.chosen;
        const fault = this.order_.fault() || (doors.length === 0 ? this.context_.texts.cards.chooseDoor : "");
        if (this.isRunning_) {
            return;
        }
        this.dialog_.tell(fault);
        if (fault === "") {
            this.run(true);
            await this.sendTo(doors);
            this.run(false);
        }
    }

    private async sendTo(doors: Door[]): Promise<void> {
        for (const door of doors) {
            if (this.dialog_.isOpen) {
                await this.sendToOne(door);
            }
        }
        if (this.choice_.chosen.length === 0) {
            this.dialog_.offerClosing();
        }
    }

    private run(isRunning: boolean): void {
        this.isRunning_ = isRunning;
        this.go.setAttribute("aria-disabled", String(isRunning));
        this.choice_.lock(isRunning);
    }

    private async sendToOne(door: Door): Promise<void> {
        const { texts, api } = this.context_;
        const { operation } = this.order_;
        const request = { operation, gateway: door.gateway, lock: door.lock, ...this.order_.source(door) };
        this.choice_.showResult(door, marked("busy", texts.underWay));
        const outcome = await api.request(request);
        const text = explainResult(operation, outcome, texts);
        this.choice_.showResult(door, marked(stateOfResult(outcome.result), text));
        this.dialog_.tell(`${doorName(door, this.context_)}: ${text}`);
        if (outcome.result === "ack") {
            this.choice_.untick(door);
        }
    }
}
