import { ApiError } from "../model/api";
import type { Texts } from "../texts/en";

// What an error of the server means, in words.
export function apiErrorText(fault: ApiError, texts: Texts): string {
    const seconds = Number(fault.body.seconds);
    return seconds > 0
        ? texts.logIn.lockedOut(seconds)
        : (texts.errors[fault.reason] ?? texts.otherError(fault.reason));
}
