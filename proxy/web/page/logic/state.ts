// How something is, shown by shape, colour and words: well, to be looked at, failed, not known, under way.
export type State = "good" | "warn" | "bad" | "unsure" | "busy";

const order: State[] = ["good", "busy", "unsure", "warn", "bad"];

// The one that needs attention most.
export function worstOf(states: State[]): State {
    return states.reduce((worst, state) => (order.indexOf(state) > order.indexOf(worst) ? state : worst), "good");
}
