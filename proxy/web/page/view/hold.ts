// Lists that move under a pointer would make it hit another line's button. They hold still while one is in use.

export function isInUse(list: HTMLElement): boolean {
    // A touch screen leaves "hover" behind on what was touched last.
    const pointed = matchMedia("(hover: hover)").matches ? ".give:hover" : ".give:active";
    return list.querySelector(`${pointed}, .give:focus-visible`) !== null;
}

// Calls back when a button of the list may no longer be in use.
export function onRelease(list: HTMLElement, callback: () => void): void {
    const check = (): void => {
        setTimeout(() => !isInUse(list) && callback());
    };
    ["pointerout", "pointerup", "focusout"].forEach((name) => list.addEventListener(name, check));
}
