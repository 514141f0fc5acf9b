// Makes elements. Texts become text nodes, never markup.

type Handler = (event: never) => void;
type Attribute = string | number | boolean | Handler | undefined;
export type Child = Node | string | null | undefined | false;

function setAttribute(element: Element, name: string, value: Attribute): void {
    if (typeof value === "function") {
        element.addEventListener(name, value as EventListener);
    } else if (value === true) {
        element.setAttribute(name, "");
    } else if (value !== undefined && value !== false) {
        element.setAttribute(name, String(value));
    }
}

// An element with attributes and children; an attribute that is a function listens to the event of its name.
export function h<K extends keyof HTMLElementTagNameMap>(
    tag: K,
    attributes: Record<string, Attribute> = {},
    ...children: Child[]
): HTMLElementTagNameMap[K] {
    const element = document.createElement(tag);
    Object.entries(attributes).forEach(([name, value]) => setAttribute(element, name, value));
    element.append(...present(children));
    return element;
}

export function present(children: Child[]): (Node | string)[] {
    return children.filter((child): child is Node | string => child !== null && child !== undefined && child !== false);
}

export function svg(tag: string, attributes: Record<string, string>, ...children: Node[]): SVGElement {
    const element = document.createElementNS("http://www.w3.org/2000/svg", tag);
    Object.entries(attributes).forEach(([name, value]) => element.setAttribute(name, value));
    element.append(...children);
    return element;
}

// Leaves the document alone when nothing changes.
export function setText(element: Element, text: string): void {
    if (element.textContent !== text) {
        element.textContent = text;
    }
}

let lastId = 0;

export function newId(prefix: string): string {
    lastId += 1;
    return `${prefix}-${lastId}`;
}

// A control under its label.
export function field(label: string, control: HTMLElement, hint?: string): HTMLElement {
    control.id = control.id || newId("field");
    const hintId = `${control.id}-hint`;
    if (hint !== undefined) {
        control.setAttribute("aria-describedby", hintId);
    }
    return h(
        "div",
        { class: "field" },
        h("label", { for: control.id }, label),
        control,
        hint !== undefined && h("p", { class: "hint", id: hintId }, hint),
    );
}

// [value, text] of each option.
export function select(options: [string, string][], onChange: () => void = () => undefined): HTMLSelectElement {
    return h("select", { change: onChange }, ...options.map(([value, text]) => h("option", { value }, text)));
}

// Options anew; keeps the choice if it is still there.
export function setOptions(list: HTMLSelectElement, options: [string, string][]): void {
    const chosen = list.value;
    list.replaceChildren(...options.map(([value, text]) => h("option", { value }, text)));
    list.value = options.some(([value]) => value === chosen) ? chosen : "";
}
