import { gatewayTitle, healthItems, stateOfDays, stateOfGateway } from "../logic/health";
import type { HealthItem } from "../logic/health";
import { worstOf } from "../logic/state";
import type { State } from "../logic/state";
import type { Health } from "../model/types";
import type { Context } from "./context";
import { h } from "./dom";
import { marked } from "./marks";

// Clocks that differ by less are the same to people.
const clockTolerance = 5000;

// How the site's machinery is: a line of statements, and the whole list when it is opened.
export class HealthStrip {
    readonly element: HTMLElement;
    private readonly items_ = h("ul", { class: "items" });
    private readonly details_ = h("ul", { class: "health-list" });

    constructor(private readonly context_: Context) {
        const { health } = context_.texts;
        const more = h("span", { class: "more" }, health.details);
        const opened = h(
            "details",
            {},
            h("summary", {}, h("span", { class: "hidden" }, `${health.title}: `), more),
            this.details_,
        );
        this.element = h("section", { class: "health", "aria-label": health.title }, this.items_, opened);
        this.update();
    }

    update(): void {
        const items = this.items();
        const isWell = items.every((item) => item.state === "good");
        this.element.classList.toggle("well", isWell);
        const all = h("li", { class: "all is-good" }, marked("good", this.context_.texts.health.allWell));
        this.items_.replaceChildren(all, ...items.map((item) => this.item(item)));
        this.details_.replaceChildren(...this.details().map((item) => this.item(item)));
    }

    // What was known before the connection was lost is not known now.
    private items(): HealthItem[] {
        const { site, texts, clock } = this.context_;
        const isLive = site.connection.state === "live";
        const known = site.health !== null ? healthItems(site.health, (value) => clock.bytes(value), texts) : [];
        const items = isLive ? known : known.map((item) => ({ ...item, state: "unsure" as State }));
        return [this.connection(), ...items];
    }

    private connection(): HealthItem {
        const { site, texts, clock } = this.context_;
        const views: Record<string, [State, string]> = {
            live: ["good", texts.health.live],
            starting: ["busy", texts.health.starting],
            lost: ["bad", texts.health.lost(clock.text(site.connection.since))],
        };
        const [state, text] = views[site.connection.state];
        return { key: "proxy", state, text };
    }

    private item(item: HealthItem): HTMLElement {
        return h("li", { class: `is-${item.state}`, "data-health": item.key }, marked(item.state, item.text));
    }

    private details(): HealthItem[] {
        const { site } = this.context_;
        const known = site.health !== null ? this.detailsOf(site.health) : [];
        const isLive = site.connection.state === "live";
        return [this.clock(), ...known.map((item) => (isLive ? item : { ...item, state: worstOf(["unsure"]) }))];
    }

    private clock(): HealthItem {
        const { site, texts, clock } = this.context_;
        const item = this.connection();
        const differs = Math.abs(site.clockAhead) > clockTolerance;
        const seconds = clock.number(Math.round(site.clockAhead / 1000));
        const text = `${texts.health.proxy}: ${item.text}${differs ? `. ${texts.health.clock(seconds)}` : ""}`;
        return { ...item, state: differs ? worstOf([item.state, "warn"]) : item.state, text };
    }

    private detailsOf(health: Health): HealthItem[] {
        return [...this.gateways(health), ...this.certificates(health), this.audit(health)];
    }

    private gateways(health: Health): HealthItem[] {
        const { texts } = this.context_;
        return health.gateways.map((gateway) => {
            const word = gateway.silent ? texts.health.silentMeaning : texts.health.answers;
            const queue = gateway.queue > 0 ? texts.health.waiting(gateway.queue) : texts.health.nothingWaits;
            const title = gatewayTitle(gateway.gateway, gateway.name, texts);
            return {
                key: `gateway-${gateway.gateway}`,
                state: stateOfGateway(gateway),
                text: `${title}: ${word}, ${queue}`,
            };
        });
    }

    private certificates(health: Health): HealthItem[] {
        const { texts } = this.context_;
        const known = Object.entries(health.certificates).filter((pair): pair is [string, number] => pair[1] !== null);
        return known.map(([name, days]) => ({
            key: `certificate-${name}`,
            state: stateOfDays(days),
            text: `${texts.health.certificateNames[name] ?? name}: ${texts.health.days(days)}`,
        }));
    }

    private audit(health: Health): HealthItem {
        const { texts, clock } = this.context_;
        const { writable, rows, bytes, limit } = health.audit;
        const size = texts.health.auditSize(
            rows !== null ? clock.number(rows) : "?",
            clock.bytes(bytes),
            clock.bytes(limit),
        );
        const state: State = writable ? "good" : "bad";
        return {
            key: "audit-size",
            state,
            text: `${texts.health.audit}: ${writable ? size : texts.health.auditFails}`,
        };
    }
}
