import type { GatewayHealth, Health } from "../model/types";
import type { Texts } from "../texts/en";
import type { State } from "./state";

// One statement of the health strip.
export interface HealthItem {
    key: string;
    state: State;
    text: string;
}

const lowDays = 30;
const leastFree = 256 * 1024 ** 2;
const longQueue = 8;

export function stateOfGateway(gateway: GatewayHealth): State {
    return gateway.silent ? "bad" : gateway.queue >= longQueue ? "warn" : "good";
}

export function gatewayTitle(gateway: number, name: string, texts: Texts): string {
    return name !== "" ? name : texts.gateway(gateway);
}

function gatewaysItem(health: Health, texts: Texts): HealthItem {
    const silent = health.gateways.filter((gateway) => gateway.silent);
    const waiting = health.gateways.reduce((sum, gateway) => sum + gateway.queue, 0);
    const busy = health.gateways.some((gateway) => gateway.queue >= longQueue);
    const text =
        silent.length > 0
            ? texts.health.silent(
                  silent.map((gateway) => gatewayTitle(gateway.gateway, gateway.name, texts)).join(", "),
              )
            : texts.health.gatewaysAnswer(health.gateways.length);
    return {
        key: "gateways",
        state: silent.length > 0 ? "bad" : busy ? "warn" : "good",
        text: waiting > 0 ? `${text}, ${texts.health.waiting(waiting)}` : text,
    };
}

function brokerItem(broker: NonNullable<Health["broker"]>, texts: Texts): HealthItem {
    const text = broker.connected ? texts.health.broker : texts.health.brokerAway;
    return {
        key: "broker",
        state: broker.connected ? "good" : "bad",
        text: broker.waiting > 0 ? `${text}, ${texts.health.messagesWaiting(broker.waiting)}` : text,
    };
}

export function stateOfDays(days: number): State {
    return days < 0 ? "bad" : days < lowDays ? "warn" : "good";
}

function certificateItem(certificates: Health["certificates"], texts: Texts): HealthItem[] {
    const days = Object.values(certificates).filter((value): value is number => value !== null);
    if (days.length === 0) {
        return [];
    }
    const least = Math.min(...days);
    return [{ key: "certificates", state: stateOfDays(least), text: texts.health.certificates(least) }];
}

function auditItem(audit: Health["audit"], bytes: (value: number) => string, texts: Texts): HealthItem {
    if (!audit.writable) {
        return { key: "audit", state: "bad", text: texts.health.auditFails };
    }
    if (audit.free === null) {
        return { key: "audit", state: "unsure", text: texts.health.disk(texts.notKnown) };
    }
    const state = audit.free < leastFree ? "warn" : "good";
    return { key: "audit", state, text: texts.health.disk(bytes(audit.free)) };
}

// What is known of the site's machinery, in the strip's order. `bytes` writes a size.
export function healthItems(health: Health, bytes: (value: number) => string, texts: Texts): HealthItem[] {
    return [
        { key: "mux", state: health.mux ? "good" : "bad", text: health.mux ? texts.health.mux : texts.health.muxAway },
        gatewaysItem(health, texts),
        ...(health.broker !== null ? [brokerItem(health.broker, texts)] : []),
        ...certificateItem(health.certificates, texts),
        auditItem(health.audit, bytes, texts),
    ];
}
