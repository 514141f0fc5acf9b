// What the server sends and takes. Times are milliseconds since 1970 on the server's clock.

export type Right = "open" | "close" | "open-close" | "status" | "access-denied" | "whitelist" | "events";

// What has a button at a door.
export const doorOperations = ["open", "close", "open-close", "access-denied", "status"] as const;
export type DoorOperation = (typeof doorOperations)[number];

export const resultNames = [
    "ack",
    "nack",
    "not-allowed",
    "not-valid",
    "not-sent",
    "no-answer",
    "mux-away",
    "not-audited",
    "ambiguous",
    "dropped",
    "unknown",
    "not-fresh",
    "not-signed",
] as const;
export type ResultName = (typeof resultNames)[number];

export interface DoorAddress {
    gateway: number;
    lock: number;
}

// One line of the audit, as far as the user may see it.
export interface Row {
    n: number;
    time: number;
    kind: string;
    operation: string;
    gateway: number | null;
    lock: number | null;
    card: string;
    // A ResultName; empty for an event.
    result: string;
    errorCode: number;
    milliseconds: number;
    client: string | null;
    // The server still knows the whole card.
    cardEvent?: boolean;
}

export interface Battery {
    time: number;
    battery: string;
    // Percent; 0 means below 80.
    capacity_at_least: number;
    battery_warning: boolean;
    battery_alarm: boolean;
    mechanical_active?: boolean;
    fire_mode?: boolean;
    reader_connected?: boolean;
}

export interface Busy {
    operation: string;
    client: string | null;
    since: number;
}

export interface Door extends DoorAddress {
    gatewayName: string;
    name: string;
    rights: Right[];
    lastEvent: Row | null;
    lastResult: Row | null;
    battery: Battery | null;
    busy: Busy[];
}

export interface SiteMessage {
    time: number;
    // Identifies this run of the proxy.
    start: string;
    doors: Door[];
    rows: Row[];
}

export interface BusyMessage extends DoorAddress {
    busy: Busy[];
}

export interface BatteryMessage extends DoorAddress {
    battery: Battery;
}

export interface GatewayHealth {
    gateway: number;
    name: string;
    queue: number;
    // Three requests in a row had no answer.
    silent: boolean;
}

export interface Health {
    time: number;
    mux: boolean;
    gateways: GatewayHealth[];
    broker: { connected: boolean; waiting: number } | null;
    // Days until they expire; null if there is none.
    certificates: Record<string, number | null>;
    audit: { writable: boolean; rows: number | null; bytes: number; limit: number; free: number | null };
}

export interface Session {
    user: string;
    token: string;
    title: string;
    auditor: boolean;
    by: "password" | "certificate";
}

export interface LogInOffer {
    certificate: boolean;
    passwords: boolean;
    title: string;
}

export interface CardEntry extends DoorAddress {
    entry: number;
    card: string;
    label: string;
    client: string;
    time: number;
}

export interface AuditRow extends Omit<Row, "n" | "cardEvent"> {
    id: number;
    address: string;
    remark: string;
}

export interface AuditAnswer {
    rows: AuditRow[];
    before: string | null;
}

// The card of a whitelist request: of an event, of the list, or its data in hexadecimal.
export type CardSource = { event: number } | { entry: number } | { card: string };

export type DoorRequest = DoorAddress & { operation: string; duration?: number; label?: string } & Partial<{
        event: number;
        entry: number;
        card: string;
    }>;

// What became of a request: the server's word, or why there is none.
export interface Outcome {
    result: ResultName | PageResult;
    errorCode: number;
    milliseconds: number;
    // What the server or gateway adds, in its own words.
    text?: string;
}

// Outcomes that only the page knows: the connection broke, the server refused to look at the request, or failed at it.
export const pageResults = ["cut-off", "refused", "logged-out", "too-many", "failed"] as const;
export type PageResult = (typeof pageResults)[number];

export function doorKey(door: { gateway: number | null; lock: number | null }): string {
    return `${door.gateway}/${door.lock}`;
}
