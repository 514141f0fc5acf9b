#pragma once

// Stands before a function that lets the unwinding of a cancelled thread pass its catch-all, which is written
//
//     } catch (abi::__forced_unwind&) {
//         throw;
//     } catch (...) {
//
// That unwinding carries no C++ object, so the reference is bound to nothing; the null check of
// UndefinedBehaviorSanitizer would take this for a fault of the function and end the process.
#define LETS_CANCELLATION_PASS __attribute__((no_sanitize("null")))
