import type { Context } from "./context";
import { h, newId } from "./dom";

// A dialog over the page. It has a status line of its own, because what lies behind a dialog is not read out.
export class Dialog {
    readonly body = h("div", { class: "body" });
    readonly buttons = h("div", { class: "buttons" });
    private readonly element_: HTMLDialogElement;
    private readonly close_: HTMLButtonElement;
    private readonly status_ = h("p", { class: "status", role: "status" });
    private isOpen_ = true;

    constructor(title: string, context: Context) {
        const titleId = newId("dialog");
        this.close_ = h("button", { type: "button", click: () => this.close() }, context.texts.close);
        this.buttons.append(this.close_);
        this.element_ = h(
            "dialog",
            { "aria-labelledby": titleId, close: () => this.remove() },
            h("h2", { id: titleId }, title),
            this.body,
            this.status_,
            this.buttons,
        );
    }

    get isOpen(): boolean {
        return this.isOpen_;
    }

    show(): void {
        document.body.append(this.element_);
        this.element_.showModal();
    }

    close(): void {
        this.element_.close();
    }

    // When there is nothing left to do in it.
    offerClosing(): void {
        this.close_.focus();
    }

    tell(text: string): void {
        this.status_.textContent = text;
    }

    private remove(): void {
        this.isOpen_ = false;
        this.element_.remove();
    }
}
