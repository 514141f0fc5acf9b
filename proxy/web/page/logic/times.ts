// Times in the browser's zone and the page's language, with the date unless it is today, and with the year unless it is
// this one.

const lateAfter = 10_000;

function dayOf(time: number): string {
    const date = new Date(time);
    return `${date.getFullYear()}-${date.getMonth() + 1}-${date.getDate()}`;
}

export class Clock {
    private readonly time_: Intl.DateTimeFormat;
    private readonly dateAndTime_: Intl.DateTimeFormat;
    private readonly withYear_: Intl.DateTimeFormat;
    private readonly day_: Intl.DateTimeFormat;
    private readonly minute_: Intl.DateTimeFormat;
    private readonly number_: Intl.NumberFormat;
    private readonly short_: Intl.NumberFormat;

    constructor(language: string) {
        this.time_ = new Intl.DateTimeFormat(language, { timeStyle: "medium" });
        const parts: Intl.DateTimeFormatOptions = {
            day: "numeric",
            month: "short",
            hour: "numeric",
            minute: "2-digit",
            second: "2-digit",
        };
        this.dateAndTime_ = new Intl.DateTimeFormat(language, parts);
        this.withYear_ = new Intl.DateTimeFormat(language, { ...parts, year: "numeric" });
        this.day_ = new Intl.DateTimeFormat(language, { weekday: "long", day: "numeric", month: "long" });
        this.minute_ = new Intl.DateTimeFormat(language, { hour: "2-digit", minute: "2-digit" });
        this.short_ = new Intl.NumberFormat(language, { maximumSignificantDigits: 2 });
        this.number_ = new Intl.NumberFormat(language, { maximumFractionDigits: 1 });
    }

    text(time: number, now = Date.now()): string {
        if (isSameDay(time, now)) {
            return this.time_.format(time);
        }
        const isThisYear = new Date(time).getFullYear() === new Date(now).getFullYear();
        return (isThisYear ? this.dateAndTime_ : this.withYear_).format(time);
    }

    day(time: number): string {
        return this.day_.format(time);
    }

    minute(time: number): string {
        return this.minute_.format(time);
    }

    number(value: number): string {
        return this.number_.format(value);
    }

    // Of a request: "0.04", "0.81", "15".
    seconds(milliseconds: number): string {
        return this.short_.format(milliseconds / 1000);
    }

    bytes(value: number): string {
        const units = ["B", "KiB", "MiB", "GiB", "TiB"];
        const power = Math.min(units.length - 1, Math.floor(Math.log2(Math.max(1, value)) / 10));
        return `${this.number(value / 1024 ** power)} ${units[power]}`;
    }
}

// The day changes what is shown with its date.
export function isSameDay(one: number, other: number): boolean {
    return dayOf(one) === dayOf(other);
}

// Seconds between what happened and its arrival, both on the server's clock; 0 unless it is worth telling.
export function lateSeconds(time: number, arrival: number): number {
    return arrival - time > lateAfter ? Math.round((arrival - time) / 1000) : 0;
}
