import { ApiError } from "../model/api";
import type { LogInOffer, Session } from "../model/types";
import type { Api } from "../model/api";
import type { Texts } from "../texts/en";
import { field, h } from "../view/dom";
import { apiErrorText } from "../view/errors";
import { languageButton, skipLink } from "../view/frame";

export interface LogInActions {
    loggedIn(session: Session): void;
    switchLanguage(): void;
}

// The ways to log in that the server offers to this browser.
export class LogInPage {
    readonly element: HTMLElement;
    private readonly user_ = h("input", {
        type: "text",
        name: "user",
        autocomplete: "username",
        autocapitalize: "none",
        spellcheck: "false",
        required: true,
    });
    private readonly password_ = h("input", {
        type: "password",
        name: "password",
        autocomplete: "current-password",
        required: true,
    });
    private readonly error_ = h("p", { class: "error", role: "alert" });
    private isBusy_ = false;

    // `message` tells why the form is shown, may be empty.
    constructor(
        private readonly api_: Api,
        private readonly texts_: Texts,
        offer: LogInOffer,
        message: string,
        private readonly actions_: LogInActions,
    ) {
        const main = h(
            "main",
            { id: "main", tabindex: -1, class: "log-in" },
            h("img", { src: "/icon.svg", alt: "", width: 56, height: 56 }),
            h("h1", {}, offer.title || texts_.pageName),
            message !== "" && h("p", { class: "message" }, message),
            ...this.ways(offer),
            this.error_,
        );
        const head = h(
            "header",
            { class: "top" },
            h(
                "div",
                { class: "tools" },
                languageButton(texts_, () => actions_.switchLanguage()),
            ),
        );
        this.element = h("div", { class: "frame" }, skipLink(texts_, main), head, main);
    }

    focus(): void {
        this.user_.focus();
    }

    private ways(offer: LogInOffer): HTMLElement[] {
        const { logIn } = this.texts_;
        const certificate = h(
            "button",
            { type: "button", class: "wide", click: () => void this.logIn({}) },
            logIn.certificate,
        );
        return [
            ...(offer.passwords ? [this.form()] : []),
            ...(offer.passwords && offer.certificate ? [h("p", { class: "or" }, logIn.or)] : []),
            ...(offer.certificate ? [certificate] : []),
            ...(!offer.passwords && !offer.certificate ? [h("p", {}, logIn.noWay)] : []),
        ];
    }

    private form(): HTMLElement {
        const { logIn } = this.texts_;
        const onSubmit = (event: Event): void => {
            event.preventDefault();
            void this.logIn({ user: this.user_.value.trim(), password: this.password_.value });
        };
        return h(
            "form",
            { submit: onSubmit },
            field(logIn.user, this.user_),
            field(logIn.password, this.password_),
            h("button", { type: "submit", class: "primary wide" }, logIn.submit),
        );
    }

    private async logIn(credentials: { user: string; password: string } | Record<string, never>): Promise<void> {
        if (this.isBusy_) {
            return;
        }
        this.isBusy_ = true;
        this.error_.textContent = `${this.texts_.logIn.working} …`;
        try {
            this.actions_.loggedIn(await this.api_.logIn(credentials));
        } catch (fault) {
            this.error_.textContent = apiErrorText(fault as ApiError, this.texts_);
            this.password_.value = "";
            this.password_.focus();
        }
        this.isBusy_ = false;
    }
}
