// Forms of what is counted, of languages that have two.
export type Plural = (count: number, one: string, other: string) => string;

// Chooses between the forms by the language's rules.
export function pluralOf(language: string): Plural {
    const rules = new Intl.PluralRules(language);
    return (count, one, other) => (rules.select(count) === "one" ? one : other);
}
