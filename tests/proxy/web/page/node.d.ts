// What the tests use of Node, whose own types are a package of another version on each system.
declare module "node:test" {
    export function test(name: string, run: () => void | Promise<void>): void;
}

declare module "node:assert/strict" {
    export function equal(actual: unknown, expected: unknown, message?: string): void;
    export function deepEqual(actual: unknown, expected: unknown, message?: string): void;
    export function ok(value: unknown, message?: string): void;
    export function match(text: string, pattern: RegExp): void;
    export function throws(run: () => unknown, check: (fault: unknown) => boolean): void;
}
