interface WakeLock {
    release(): Promise<void>;
}

type WithWakeLock = { wakeLock?: { request(type: "screen"): Promise<WakeLock> } };

// Keeps the screen on, where the browser can do that, until it is stopped.
export class ScreenWake {
    private lock_: Promise<WakeLock | undefined> | undefined;
    // The browser forgets it whenever the page was hidden.
    private readonly ask_ = (): void => {
        if (document.visibilityState === "visible") {
            this.lock_ = (navigator as unknown as WithWakeLock).wakeLock?.request("screen").catch(() => undefined);
        }
    };

    start(): void {
        document.addEventListener("visibilitychange", this.ask_);
        this.ask_();
    }

    stop(): void {
        document.removeEventListener("visibilitychange", this.ask_);
        void this.lock_?.then((lock) => lock?.release());
    }
}
