import type { Api } from "../model/api";
import type { Change } from "../model/changes";
import type { Operator } from "../model/operator";
import type { Site } from "../model/site";
import type { Session } from "../model/types";
import type { Clock } from "../logic/times";
import type { Texts } from "../texts/en";

// What every view of a logged-in user draws from.
export interface Context {
    readonly site: Site;
    readonly api: Api;
    readonly operator: Operator;
    readonly session: Session;
    readonly texts: Texts;
    readonly clock: Clock;
    // Tells a screen reader something short.
    announce(text: string): void;
}

// What fills the main part. It lives until another one takes its place, or the language changes.
export interface Page {
    readonly element: HTMLElement;
    readonly title: string;
    update(change: Change): void;
    // Called once, when it is taken away.
    leave?(): void;
}
