import type { State } from "../logic/state";
import { h, svg } from "./dom";
import type { Child } from "./dom";

// Each state has a shape of its own, so that it can be told without colours: circle with a tick, triangle, octagon with
// a cross, dashed circle with a question mark, ring with dots.
const shapes: Record<State, { outline: string; sign: string; filled: boolean }> = {
    good: { outline: "M8 1a7 7 0 1 0 0 14A7 7 0 0 0 8 1z", sign: "M4.8 8.2l2.2 2.3 4.2-4.6", filled: true },
    warn: { outline: "M8 1.3L15.4 14.5H.6z", sign: "M8 6v4M8 12.2v.3", filled: true },
    bad: { outline: "M5.1 1h5.8L15 5.1v5.8L10.9 15H5.1L1 10.9V5.1z", sign: "M5.5 5.5l5 5M10.5 5.5l-5 5", filled: true },
    unsure: {
        outline: "M8 1.5a6.5 6.5 0 1 0 0 13 6.5 6.5 0 0 0 0-13z",
        sign: "M6.2 6.2a1.8 1.8 0 1 1 2.6 1.6c-.6.3-.8.7-.8 1.3M8 11.2v.3",
        filled: false,
    },
    busy: {
        outline: "M8 1.5a6.5 6.5 0 1 0 0 13 6.5 6.5 0 0 0 0-13z",
        sign: "M4.9 8h.2M7.9 8h.2M10.9 8h.2",
        filled: false,
    },
};

export function mark(state: State): SVGElement {
    const shape = shapes[state];
    return svg(
        "svg",
        { class: `mark ${state}${shape.filled ? "" : " hollow"}`, viewBox: "0 0 16 16", "aria-hidden": "true" },
        svg("path", { class: "outline", d: shape.outline }),
        svg("path", { class: "sign", d: shape.sign }),
    );
}

// Text behind its state's mark.
export function marked(state: State, ...children: Child[]): HTMLElement {
    return h("span", { class: `marked is-${state}` }, mark(state) as Node, h("span", {}, ...children));
}

// Paths of 24 by 24, drawn as lines.
const pictures: Record<string, string> = {
    doors: "M5 21V4l9-1v18M14 5h5v16M3 21h18M11 12v.5",
    events: "M4 6h16M4 12h16M4 18h10",
    cards: "M3 6h18v12H3zM3 10h18M6.5 14.5h4",
    audit: "M6 3h9l4 4v14H6zM14 3v5h5M9 12h7M9 16h7",
    wall: "M3 4h18v12H3zM8 20h8M12 16v4",
};

export function picture(name: string): SVGElement {
    return svg(
        "svg",
        { class: "picture", viewBox: "0 0 24 24", "aria-hidden": "true" },
        svg("path", { d: pictures[name] }),
    );
}
