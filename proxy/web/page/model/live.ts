import { Delays } from "../logic/delays";
import { EventCutter } from "../logic/eventStream";
import { ApiError } from "./api";
import type { Site } from "./site";

// The server writes at least a comment every 15 s.
const silenceLimit = 35_000;

// Keeps the live stream open while it is started, and hands its messages to the site. The stream is read by hand rather
// than by EventSource, which cannot see the server's comments: a connection that died silently would look alive for
// minutes.
export class Live {
    private abort_ = new AbortController();
    private wake_: () => void = () => undefined;
    private isWanted_ = false;
    // Counts starts and stops, so that a reader of before ends.
    private turn_ = 0;
    private heard_ = 0;
    private readonly delays_ = new Delays();
    private readonly handlers_: Record<string, (data: never) => void>;

    // `renew` asks for the session before each connection but the first, and rejects if there is none to go on with.
    // `onLoggedOut` is called, and the stream stopped, when the server no longer knows the session.
    constructor(
        private readonly site_: Site,
        private readonly renew_: () => Promise<void>,
        private readonly onLoggedOut_: () => void,
    ) {
        this.handlers_ = {
            site: (data) => site_.takeSite(data),
            rows: (data) => site_.takeRows(data),
            busy: (data) => site_.takeBusy(data),
            battery: (data) => site_.takeBattery(data),
            missed: (data: { count: number }) => site_.takeMissed(data.count),
            health: (data) => site_.takeHealth(data),
        };
    }

    start(): void {
        if (!this.isWanted_) {
            this.isWanted_ = true;
            this.turn_ += 1;
            void this.run(this.turn_);
        }
    }

    stop(): void {
        this.isWanted_ = false;
        this.turn_ += 1;
        this.abort_.abort();
        this.wake_();
    }

    private async run(turn: number): Promise<void> {
        for (let isFirst = true; turn === this.turn_; isFirst = false) {
            const isLoggedOut = await this.connect(isFirst).then(
                () => false,
                (fault) => fault instanceof ApiError && fault.status === 401,
            );
            if (turn !== this.turn_) {
                return;
            }
            if (isLoggedOut) {
                this.stop();
                this.onLoggedOut_();
                return;
            }
            this.lost();
            await this.pause(this.delays_.next(Math.random()));
        }
    }

    private async connect(isFirst: boolean): Promise<void> {
        if (!isFirst) {
            await this.renew_();
        }
        await this.readOnce();
    }

    private lost(): void {
        if (this.site_.connection.state !== "lost") {
            this.site_.takeConnection({ state: "lost", since: this.heard_ || Date.now() });
        }
    }

    // Ends early when the network comes back or somebody looks at the page again.
    private async pause(delay: number): Promise<void> {
        const listening = new AbortController();
        await new Promise<void>((resolve) => {
            this.wake_ = resolve;
            setTimeout(resolve, delay);
            addEventListener("online", () => resolve(), { signal: listening.signal });
            document.addEventListener("visibilitychange", () => resolve(), { signal: listening.signal });
        });
        listening.abort();
    }

    private async readOnce(): Promise<void> {
        this.abort_ = new AbortController();
        const abort = this.abort_;
        this.heard_ = this.heard_ || Date.now();
        let alive = Date.now();
        const watchdog = setInterval(() => Date.now() - alive > silenceLimit && abort.abort(), 1000);
        try {
            const answer = await fetch("/api/live", {
                headers: { Accept: "text/event-stream" },
                cache: "no-store",
                signal: abort.signal,
            });
            await this.readAll(answer, () => (alive = this.heard_ = Date.now()));
        } finally {
            clearInterval(watchdog);
        }
    }

    private async readAll(answer: Response, onHeard: () => void): Promise<void> {
        if (answer.status === 401) {
            throw new ApiError(401, "no-session");
        }
        if (!answer.ok || answer.body === null) {
            return;
        }
        const reader = answer.body.getReader();
        const decoder = new TextDecoder();
        const cutter = new EventCutter();
        for (let piece = await reader.read(); !piece.done; piece = await reader.read()) {
            onHeard();
            cutter.add(decoder.decode(piece.value, { stream: true }), (name, data) => this.take(name, data));
        }
    }

    private take(name: string, data: string): void {
        if (this.site_.connection.state !== "live") {
            this.delays_.reset();
            this.site_.takeConnection({ state: "live", since: Date.now() });
        }
        this.handlers_[name]?.(JSON.parse(data) as never);
    }
}
