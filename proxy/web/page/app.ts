import { Clock, isSameDay } from "./logic/times";
import { chooseLanguage, localeOf, textsOfBrowser } from "./logic/language";
import { Api, ApiError, offerOf } from "./model/api";
import type { Change } from "./model/changes";
import { Live } from "./model/live";
import { Operator } from "./model/operator";
import { Site } from "./model/site";
import type { LogInOffer, Session } from "./model/types";
import { AuditPage } from "./pages/auditPage";
import { CardsPage } from "./pages/cardsPage";
import { DoorsPage } from "./pages/doorsPage";
import { EventsPage } from "./pages/eventsPage";
import { LogInPage } from "./pages/logInPage";
import { WallPage } from "./pages/wallPage";
import type { Context, Page } from "./view/context";
import { h } from "./view/dom";
import { Frame } from "./view/frame";
import type { RouteName } from "./view/frame";

const pages: Record<RouteName, new (context: Context) => Page> = {
    doors: DoorsPage,
    events: EventsPage,
    cards: CardsPage,
    audit: AuditPage,
    wall: WallPage,
};
const retryDelay = 2000;

function routeOf(hash: string): RouteName {
    const name = hash.replace(/^#\//, "");
    return Object.keys(pages).includes(name) ? (name as RouteName) : "doors";
}

// What the frame and pages show of a session.
function lookOf(session: Session | null): string {
    return JSON.stringify([session?.user, session?.title, session?.auditor]);
}

// Owns what is on the screen: the log-in form, or the frame with a page in it.
export class App {
    private readonly api_ = new Api();
    private site_ = new Site();
    private live_: Live;
    private operator_: Operator;
    private texts_ = textsOfBrowser();
    private session_: Session | null = null;
    private offer_: LogInOffer | null = null;
    private frame_: Frame | null = null;
    private page_: Page | null = null;
    private day_ = Date.now();
    // The user asked for it, so that a certificate must not log in by itself.
    private hasLoggedOut_ = false;
    private isEntering_ = false;
    private readonly announcer_ = h("p", { class: "hidden", role: "status" });

    constructor(private readonly root_: HTMLElement) {
        [this.live_, this.operator_] = this.connect();
        this.api_.renew = () => this.renew();
        this.api_.onLoggedOut = () => void this.enter(this.texts_.errors["no-session"]);
        root_.after(this.announcer_);
        addEventListener("hashchange", () => this.showPage(true));
        setInterval(() => this.watchDay(), 1000);
    }

    // Takes up the session, logs in with the browser's certificate, or shows the form. `reason` stands above the form.
    async enter(reason = ""): Promise<void> {
        if (this.isEntering_) {
            return;
        }
        this.isEntering_ = true;
        this.live_.stop();
        try {
            await this.logOutIfWanted();
            this.begin(await this.api_.session());
        } catch (fault) {
            await this.offerLogIn(fault as ApiError, reason);
        } finally {
            this.isEntering_ = false;
        }
    }

    // Goes on with the session that the browser has now, which another tab may have begun. Rejects if it is another
    // user's: the page then begins anew for that one.
    private async renew(): Promise<void> {
        const session = await this.api_.session();
        if (lookOf(session) !== lookOf(this.session_)) {
            this.begin(session);
            throw new ApiError(409, "not-allowed");
        }
    }

    // Tried until the proxy has heard it.
    private async logOutIfWanted(): Promise<void> {
        if (this.hasLoggedOut_) {
            await this.api_.logOut();
        }
    }

    private async offerLogIn(fault: ApiError, reason: string): Promise<void> {
        if (fault.status !== 401) {
            this.waitForProxy();
            return;
        }
        this.offer_ = offerOf(fault);
        if (this.offer_.certificate && !this.hasLoggedOut_) {
            try {
                this.begin(await this.api_.logIn({}));
                return;
            } catch {
                // The form tells what else there is.
            }
        }
        this.end();
        this.showLogIn(this.hasLoggedOut_ ? "" : reason);
    }

    // A page that is shown stays, marked as old, until the proxy is back.
    private waitForProxy(): void {
        if (this.site_.connection.state === "live") {
            this.site_.takeConnection({ state: "lost", since: Date.now() });
        }
        if (this.frame_ === null) {
            this.root_.replaceChildren(
                h(
                    "main",
                    { class: "log-in" },
                    h("h1", {}, this.texts_.pageName),
                    h("p", { role: "status" }, this.texts_.logIn.proxyAway),
                ),
            );
        }
        setTimeout(() => void this.enter(), retryDelay);
    }

    private begin(session: Session): void {
        const isSame = this.frame_ !== null && lookOf(this.session_) === lookOf(session);
        if (!isSame) {
            this.end();
        }
        this.session_ = session;
        this.hasLoggedOut_ = false;
        this.live_.start();
        if (!isSame) {
            this.build();
        }
    }

    // Nothing of the user stays on the screen or in memory.
    private end(): void {
        this.live_.stop();
        this.page_?.leave?.();
        this.announcer_.textContent = "";
        document.querySelectorAll("dialog").forEach((dialog) => dialog.close());
        [this.session_, this.frame_, this.page_] = [null, null, null];
        this.site_.changes.onChange = () => undefined;
        this.site_ = new Site();
        [this.live_, this.operator_] = this.connect();
    }

    private connect(): [Live, Operator] {
        this.site_.changes.onChange = (change) => this.update(change);
        const live = new Live(
            this.site_,
            () => this.renew(),
            () => void this.enter(this.texts_.errors["no-session"]),
        );
        return [live, new Operator(this.api_, this.site_)];
    }

    private showLogIn(message: string): void {
        const offer = this.offer_ ?? { certificate: false, passwords: true, title: "" };
        const form = new LogInPage(this.api_, this.texts_, offer, message, {
            loggedIn: (session) => this.begin(session),
            switchLanguage: () => this.switchLanguage(),
        });
        document.documentElement.lang = this.texts_.language;
        document.title = `${this.texts_.logIn.title} – ${offer.title || this.texts_.pageName}`;
        this.root_.replaceChildren(form.element);
        form.focus();
    }

    private context(session: Session): Context {
        return {
            site: this.site_,
            api: this.api_,
            operator: this.operator_,
            session,
            texts: this.texts_,
            clock: new Clock(localeOf(this.texts_, navigator.languages)),
            announce: (text) => (this.announcer_.textContent = text),
        };
    }

    // The frame and page anew: after log-in, in another language, on another day.
    private build(): void {
        if (this.session_ === null) {
            return;
        }
        document.documentElement.lang = this.texts_.language;
        this.frame_ = new Frame(this.context(this.session_), {
            logOut: () => void this.logOut(),
            switchLanguage: () => this.switchLanguage(),
        });
        this.root_.replaceChildren(this.frame_.element);
        this.showPage(false);
    }

    private showPage(isMoved: boolean): void {
        if (this.session_ === null || this.frame_ === null) {
            return;
        }
        const route = routeOf(location.hash);
        this.page_?.leave?.();
        this.page_ = new pages[route](this.context(this.session_));
        this.frame_.showRoute(route);
        this.frame_.main.replaceChildren(this.page_.element);
        document.title = `${this.page_.title} – ${this.session_.title || this.texts_.pageName}`;
        if (isMoved) {
            scrollTo(0, 0);
            this.page_.element.querySelector<HTMLElement>("h1")?.focus();
        }
    }

    private update(change: Change): void {
        this.frame_?.update(change);
        this.page_?.update(change);
    }

    private async logOut(): Promise<void> {
        this.hasLoggedOut_ = true;
        this.live_.stop();
        this.end();
        await this.enter();
    }

    private switchLanguage(): void {
        chooseLanguage(this.texts_.otherLanguageCode);
        this.texts_ = textsOfBrowser();
        if (this.session_ !== null) {
            this.build();
        } else {
            this.showLogIn("");
        }
        this.root_.querySelector<HTMLElement>(".language")?.focus();
    }

    // Times of yesterday are shown with their date, as soon as nobody is in the middle of something.
    private watchDay(): void {
        const isInUse = this.frame_?.main.contains(document.activeElement) ?? false;
        if (!isInUse && !isSameDay(this.day_, Date.now())) {
            this.day_ = Date.now();
            this.build();
        }
    }
}
