import type { AuditAnswer, CardEntry, DoorRequest, LogInOffer, Outcome, Session } from "./types";

// The server answers a request within 21 s.
const requestTimeout = 30_000;
const otherTimeout = 15_000;

// An answer other than 200. `status` is 0 if there was none.
export class ApiError extends Error {
    constructor(
        readonly status: number,
        readonly reason: string,
        readonly body: Record<string, unknown> = {},
    ) {
        super(reason);
    }
}

async function bodyOf(answer: Response): Promise<Record<string, unknown>> {
    try {
        return await answer.json();
    } catch {
        return {};
    }
}

async function call(method: string, path: string, timeout: number, headers: Record<string, string>, body?: unknown) {
    const abort = new AbortController();
    const timer = setTimeout(() => abort.abort(), timeout);
    try {
        const answer = await fetch(path, {
            method,
            headers: body === undefined ? headers : { ...headers, "Content-Type": "application/json" },
            body: body === undefined ? undefined : JSON.stringify(body),
            cache: "no-store",
            signal: abort.signal,
        });
        const read = answer.status === 204 ? {} : await bodyOf(answer);
        if (!answer.ok) {
            throw new ApiError(answer.status, String(read.error ?? answer.status), read);
        }
        return read;
    } catch (fault) {
        throw fault instanceof ApiError ? fault : new ApiError(0, "cut-off");
    } finally {
        clearTimeout(timer);
    }
}

// Why a request has no answer. A refusal tells that nothing was done; a connection that broke does not.
export function outcomeOf(fault: ApiError): Outcome {
    const names: Record<string, Outcome["result"]> = {
        "cut-off": "cut-off",
        "no-session": "logged-out",
        "too-many": "too-many",
        "not-allowed": "not-allowed",
        "not-valid": "not-valid",
        "not-readable": "refused",
    };
    const result = names[fault.reason] ?? (fault.status >= 500 ? "failed" : "refused");
    const text = typeof fault.body.text === "string" ? fault.body.text : "";
    return { result, errorCode: 0, milliseconds: 0, text };
}

// The server's doors to the page. Each call throws ApiError unless it says otherwise.
export class Api {
    private token_ = "";
    // Called when the server no longer knows the session.
    onLoggedOut: () => void = () => undefined;
    // Asks for the session's token anew; rejects if the session is another user's.
    renew: () => Promise<void> = () => Promise.resolve();

    async session(): Promise<Session> {
        return this.keep(await call("GET", "/api/session", otherTimeout, {}));
    }

    // With the browser's certificate if no user is given.
    async logIn(credentials: { user: string; password: string } | Record<string, never>): Promise<Session> {
        return this.keep(await call("POST", "/api/session", otherTimeout, {}, credentials));
    }

    // A session that has ended already is as good.
    async logOut(): Promise<void> {
        try {
            await call("DELETE", "/api/session", otherTimeout, { "X-Token": this.token_ });
        } catch (fault) {
            if (!(fault instanceof ApiError && (fault.status === 401 || fault.status === 403))) {
                throw fault;
            }
        }
    }

    // Never throws: whatever happened is an outcome.
    async request(request: DoorRequest): Promise<Outcome> {
        const begin = performance.now();
        try {
            const answer = await this.guarded("POST", "/api/requests", requestTimeout, request);
            return answer as unknown as Outcome;
        } catch (fault) {
            const outcome = fault instanceof ApiError ? outcomeOf(fault) : outcomeOf(new ApiError(0, "cut-off"));
            return { ...outcome, milliseconds: Math.round(performance.now() - begin) };
        }
    }

    async cards(): Promise<CardEntry[]> {
        const answer = await this.guarded("GET", "/api/cards", otherTimeout);
        return answer.cards as CardEntry[];
    }

    async audit(query: URLSearchParams): Promise<AuditAnswer> {
        const answer = await this.guarded("GET", `/api/audit?${query.toString()}`, otherTimeout);
        return answer as unknown as AuditAnswer;
    }

    private keep(answer: Record<string, unknown>): Session {
        const session = answer as unknown as Session;
        this.token_ = session.token;
        return session;
    }

    private async guarded(method: string, path: string, timeout: number, body?: unknown) {
        const send = () => call(method, path, timeout, method === "GET" ? {} : { "X-Token": this.token_ }, body);
        try {
            return await send().catch((fault) => this.afterRenewal(fault, send));
        } catch (fault) {
            if (fault instanceof ApiError && fault.status === 401) {
                this.onLoggedOut();
            }
            throw fault;
        }
    }

    // Another tab may have begun a new session, whose token is another one. A forged request was not looked at, so that
    // it may be sent again.
    private async afterRenewal<T>(fault: unknown, send: () => Promise<T>): Promise<T> {
        if (!(fault instanceof ApiError) || fault.reason !== "forged") {
            throw fault;
        }
        await this.renew();
        return send();
    }
}

// What log-in is possible, from the 401 that told there is no session.
export function offerOf(fault: ApiError): LogInOffer {
    return {
        certificate: fault.body.certificate === true,
        passwords: fault.body.passwords === true,
        title: typeof fault.body.title === "string" ? fault.body.title : "",
    };
}
