import { ApiError } from "../model/api";
import type { Change } from "../model/changes";
import { resultNames } from "../model/types";
import type { AuditRow } from "../model/types";
import type { Context, Page } from "../view/context";
import { field, h, select, setOptions } from "../view/dom";
import { apiErrorText } from "../view/errors";
import { doorName, doorOptions, operationText, resultElement, timeElement } from "../view/words";

const pageSize = 100;
const kinds = ["request", "event", "connection", "mux", "proxy"];

// The audit, searched by time, door, client, kind and result, newest first.
export class AuditPage implements Page {
    readonly element: HTMLElement;
    readonly title: string;
    private readonly since_ = h("input", { type: "datetime-local" });
    private readonly until_ = h("input", { type: "datetime-local" });
    private readonly door_ = select([]);
    private readonly client_ = h("input", { type: "text", autocomplete: "off", spellcheck: "false" });
    private readonly kind_ = select([]);
    private readonly result_ = select([]);
    private readonly csv_: HTMLAnchorElement;
    private readonly status_ = h("p", { class: "count", role: "status" });
    private readonly body_ = h("tbody");
    private readonly older_: HTMLButtonElement;
    private rows_: AuditRow[] = [];
    private before_: string | null = null;
    // Answers to earlier searches are left out.
    private search_ = 0;

    constructor(private readonly context_: Context) {
        const { texts } = context_;
        this.title = texts.audit.title;
        this.older_ = h(
            "button",
            { type: "button", hidden: true, click: () => void this.load(this.before_) },
            texts.audit.older,
        );
        this.csv_ = h("a", { class: "button", download: "audit.csv", "aria-describedby": "csv-hint" }, texts.audit.csv);
        this.element = h("div", { class: "page audit-page" }, h("h1", { tabindex: -1 }, this.title), ...this.content());
        this.fillLists();
        void this.search();
    }

    update(change: Change): void {
        if (change.all) {
            this.fillLists();
            this.draw();
        }
    }

    private content(): HTMLElement[] {
        const { texts, session } = this.context_;
        if (!session.auditor) {
            return [h("p", { class: "empty" }, texts.audit.notAuditor)];
        }
        return [this.form(), this.status_, this.table(), h("p", { class: "more" }, this.older_)];
    }

    private form(): HTMLElement {
        const { audit, events, search } = this.context_.texts;
        const onSubmit = (event: Event): void => {
            event.preventDefault();
            void this.search();
        };
        return h(
            "form",
            { class: "filters", role: "search", submit: onSubmit },
            field(audit.since, this.since_),
            field(audit.until, this.until_),
            field(events.door, this.door_),
            field(audit.client, this.client_),
            field(events.kind, this.kind_),
            field(audit.result, this.result_),
            h("button", { type: "submit", class: "primary" }, search),
            this.csv_,
            h("p", { class: "hint", id: "csv-hint" }, audit.csvHint),
        );
    }

    private fillLists(): void {
        const { texts, site } = this.context_;
        setOptions(this.door_, [["", texts.events.allDoors], ...doorOptions([...site.doors.values()], this.context_)]);
        setOptions(this.kind_, [
            ["", texts.events.allKinds],
            ...kinds.map((kind): [string, string] => [kind, texts.kinds[kind]]),
        ]);
        const results = resultNames.map((name): [string, string] => [name, texts.results[name].short]);
        setOptions(this.result_, [["", texts.audit.allResults], ...results]);
    }

    private table(): HTMLElement {
        const { columns } = this.context_.texts.audit;
        const heads = [
            columns.time,
            columns.kind,
            columns.client,
            columns.operation,
            columns.door,
            columns.card,
            columns.result,
            columns.remark,
        ];
        return h(
            "div",
            { class: "scroller", tabindex: 0, role: "region", "aria-label": this.title },
            h(
                "table",
                { class: "data" },
                h("thead", {}, h("tr", {}, ...heads.map((text) => h("th", { scope: "col" }, text)))),
                this.body_,
            ),
        );
    }

    private query(): URLSearchParams {
        const [gateway, lock] = this.door_.value.split("/");
        const timeOf = (input: HTMLInputElement): string =>
            input.value === "" ? "" : String(new Date(input.value).getTime());
        const wanted: [string, string | undefined][] = [
            ["since", timeOf(this.since_)],
            ["until", timeOf(this.until_)],
            ["gateway", gateway],
            ["lock", lock],
            ["client", this.client_.value.trim()],
            ["kind", this.kind_.value],
            ["result", this.result_.value],
        ];
        return new URLSearchParams(wanted.filter((pair): pair is [string, string] => Boolean(pair[1])));
    }

    private async search(): Promise<void> {
        if (!this.context_.session.auditor) {
            return;
        }
        this.search_ += 1;
        this.csv_.href = `/api/audit.csv?${this.query().toString()}`;
        await this.load(null);
    }

    private async load(before: string | null): Promise<void> {
        const { texts, api } = this.context_;
        const search = this.search_;
        const query = this.query();
        query.set("limit", String(pageSize));
        if (before !== null) {
            query.set("before", before);
        }
        this.status_.textContent = texts.audit.loading;
        try {
            const answer = await api.audit(query);
            if (search === this.search_) {
                this.show(answer.rows, before === null, answer.before);
            }
        } catch (fault) {
            this.status_.textContent = apiErrorText(fault as ApiError, texts);
        }
    }

    private show(rows: AuditRow[], isFirst: boolean, before: string | null): void {
        const { audit } = this.context_.texts;
        this.rows_ = isFirst ? rows : [...this.rows_, ...rows];
        this.draw();
        this.before_ = before;
        this.older_.hidden = before === null;
        const count = this.rows_.length;
        this.status_.textContent =
            count === 0 ? audit.none : `${audit.rows(count)}${before === null ? `. ${audit.end}` : ""}`;
    }

    // Doors may have got their names since.
    private draw(): void {
        this.body_.replaceChildren(...this.rows_.map((row) => this.row(row)));
    }

    private row(row: AuditRow): HTMLElement {
        const { texts } = this.context_;
        const { columns } = texts.audit;
        const cell = (title: string, ...content: (Node | string)[]): HTMLElement =>
            h("td", { "data-title": title }, ...content);
        const client = [row.client ?? "", row.address !== "" ? `(${row.address})` : ""]
            .filter((part) => part !== "")
            .join(" ");
        const result = row.kind === "request" ? [resultElement({ ...row, client: null }, this.context_)] : [];
        return h(
            "tr",
            { "data-id": row.id },
            cell(columns.time, timeElement(row.time, this.context_)),
            cell(columns.kind, texts.kinds[row.kind] ?? row.kind),
            cell(columns.client, client),
            cell(columns.operation, operationText(row.operation, this.context_)),
            cell(columns.door, doorName(row, this.context_)),
            cell(columns.card, row.card),
            cell(columns.result, ...result),
            cell(columns.remark, row.remark),
        );
    }
}
