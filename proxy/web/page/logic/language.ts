import { de } from "../texts/de";
import { en } from "../texts/en";
import type { Texts } from "../texts/en";

const languages: Record<string, Texts> = { en, de };
const storageKey = "language";

// The one that was chosen on the page, else the first of the browser's that is there, else English.
export function chooseTexts(chosen: string | null, preferred: readonly string[]): Texts {
    const codes = [chosen ?? "", ...preferred.map((code) => code.slice(0, 2).toLowerCase())];
    return languages[codes.find((code) => Object.keys(languages).includes(code)) ?? "en"];
}

// Private windows may refuse to keep anything.
function stored(): string | null {
    try {
        return localStorage.getItem(storageKey);
    } catch {
        return null;
    }
}

export function textsOfBrowser(): Texts {
    return chooseTexts(stored(), navigator.languages);
}

export function chooseLanguage(code: string): void {
    try {
        localStorage.setItem(storageKey, code);
    } catch {
        // The choice then lasts until the page is left.
    }
}

// The browser's own flavour of the language, for the form of times and numbers: "en-GB".
export function localeOf(texts: Texts, preferred: readonly string[]): string {
    return preferred.find((code) => code.slice(0, 2).toLowerCase() === texts.language) ?? texts.language;
}
