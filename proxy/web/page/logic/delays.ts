const shortest = 1000;
const longest = 10_000;

// How long to wait before the next try, in milliseconds: 1 to 10 s, growing by half each time. `random` in [0, 1) takes
// off up to a fifth, so that many pages do not come back at the same moment.
export class Delays {
    private next_ = shortest;

    next(random: number): number {
        const delay = this.next_;
        this.next_ = Math.min(longest, delay * 1.5);
        return Math.max(shortest, Math.round(delay * (1 - random / 5)));
    }

    reset(): void {
        this.next_ = shortest;
    }
}
