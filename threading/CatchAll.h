#pragma once

#include <cxxabi.h>

#include "diagnostics/CaughtException.h"

// Stands before a function that lets the unwinding of a cancelled thread pass its catch-all. That unwinding carries no
// C++ object, so the reference is bound to nothing; the null check of UndefinedBehaviorSanitizer would take this for a
// fault of the function and end the process.
#define LETS_CANCELLATION_PASS __attribute__((no_sanitize("null")))

namespace Threading {

// A part of CatchAll, apart from it so that only who has caught something pays for the room of the text.
template <typename OnException>
__attribute__((noinline)) void TellCaughtException(OnException& onException) {
    const Diagnostics::CaughtException caught;
    onException(caught.Text());
}

// Calls `work`. Whatever it throws ends here, but for the unwinding of a cancelled thread, which passes: `onException`
// is called with its text (const char*), which lives as long as that call and needs no memory. Returns whether nothing
// was thrown. What `onException` throws is thrown.
template <typename Work, typename OnException>
LETS_CANCELLATION_PASS bool CatchAll(Work work, OnException onException) {
    try {
        work();
        return true;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        TellCaughtException(onException);
        return false;
    }
}

}  // namespace Threading
