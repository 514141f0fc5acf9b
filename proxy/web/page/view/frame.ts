import type { Change } from "../model/changes";
import type { Texts } from "../texts/en";
import { h } from "./dom";
import type { Child } from "./dom";
import { mark, picture } from "./marks";
import type { Context } from "./context";
import { HealthStrip } from "./healthStrip";

export type RouteName = keyof Texts["nav"];

export interface FrameActions {
    logOut(): void;
    switchLanguage(): void;
}

// The link for people who do not want to step through the head on each page.
export function skipLink(texts: Texts, main: HTMLElement): HTMLElement {
    const skip = (event: Event): void => {
        event.preventDefault();
        main.focus();
    };
    return h("a", { class: "skip", href: "#main", click: skip }, texts.skip);
}

export function languageButton(texts: Texts, onClick: () => void): HTMLElement {
    return h(
        "button",
        { type: "button", class: "quiet language", lang: texts.otherLanguageCode, click: onClick },
        texts.otherLanguage,
    );
}

// What stands around every page of a logged-in user: name of the site, pages, health, and whether it is up to date.
export class Frame {
    readonly element: HTMLElement;
    readonly main = h("main", { id: "main", tabindex: -1 });
    private readonly links_ = new Map<RouteName, HTMLElement>();
    private readonly health_: HealthStrip;
    private readonly banner_ = h("p", { class: "banner", role: "alert", hidden: true });
    private readonly note_ = h("div", { class: "note", role: "status", hidden: true });

    constructor(
        private readonly context_: Context,
        actions: FrameActions,
    ) {
        const { texts } = context_;
        this.health_ = new HealthStrip(context_);
        this.element = h(
            "div",
            { class: "frame" },
            skipLink(texts, this.main),
            h("header", { class: "top" }, this.brand(), this.navigation(), this.tools(actions)),
            this.banner_,
            this.health_.element,
            this.note_,
            this.main,
        );
        this.showConnection();
    }

    // Which page it is; the wall has no links and buttons around it.
    showRoute(route: RouteName): void {
        this.element.classList.toggle("on-wall", route === "wall");
        this.links_.forEach((link, name) =>
            name === route ? link.setAttribute("aria-current", "page") : link.removeAttribute("aria-current"),
        );
    }

    update(change: Change): void {
        if (change.all || change.health || change.connection) {
            this.health_.update();
        }
        if (change.connection) {
            this.showConnection();
        }
        if (change.restart) {
            this.showNote(this.context_.texts.health.restarted);
        }
    }

    private brand(): HTMLElement {
        const { texts, session } = this.context_;
        return h(
            "p",
            { class: "brand" },
            h("img", { src: "/icon.svg", alt: "", width: 28, height: 28 }),
            session.title || texts.pageName,
        );
    }

    private navigation(): HTMLElement {
        const { texts, session } = this.context_;
        const routes: RouteName[] = [
            "doors",
            "events",
            "cards",
            ...(session.auditor ? ["audit" as const] : []),
            "wall",
        ];
        return h(
            "nav",
            { "aria-label": texts.navigation },
            h("ul", {}, ...routes.map((route) => h("li", {}, this.link(route)))),
        );
    }

    private link(route: RouteName): HTMLElement {
        const link = h("a", { href: `#/${route}` }, picture(route) as Node, this.context_.texts.nav[route]);
        this.links_.set(route, link);
        return link;
    }

    private tools(actions: FrameActions): HTMLElement {
        const { texts, session } = this.context_;
        const user: Child = h(
            "span",
            { class: "user" },
            h("span", { class: "hidden" }, texts.logIn.as("")),
            session.user,
        );
        return h(
            "div",
            { class: "tools" },
            user,
            languageButton(texts, () => actions.switchLanguage()),
            h("button", { type: "button", class: "quiet", click: () => actions.logOut() }, texts.logIn.logOut),
        );
    }

    private showConnection(): void {
        const { site, texts, clock } = this.context_;
        const isLost = site.connection.state === "lost";
        this.element.classList.toggle("stale", isLost);
        if (this.banner_.hidden === isLost) {
            this.banner_.hidden = !isLost;
            const since = h("strong", {}, texts.health.lost(clock.text(site.connection.since)));
            this.banner_.replaceChildren(
                ...(isLost ? [mark("bad"), h("span", {}, since, ". ", texts.health.trying)] : []),
            );
        }
    }

    private showNote(text: string): void {
        const close = h(
            "button",
            { type: "button", class: "quiet", click: () => (this.note_.hidden = true) },
            this.context_.texts.close,
        );
        this.note_.replaceChildren(mark("warn"), h("span", {}, text), close);
        this.note_.hidden = false;
    }
}
