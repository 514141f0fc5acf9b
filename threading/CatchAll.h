#pragma once

#include <cxxabi.h>

// Stands before a function that lets the unwinding of a cancelled thread pass its catch-all. That unwinding carries no
// C++ object, so the reference is bound to nothing; the null check of UndefinedBehaviorSanitizer would take this for a
// fault of the function and end the process.
#define LETS_CANCELLATION_PASS __attribute__((no_sanitize("null")))

namespace Threading {

// The body of CatchAll, which has to be no template: the compiler drops the attribute above from one.
bool CatchAllOf(void (*work)(void*), void* workArgument, void (*onException)(void*, const char*),
                void* handlerArgument);

// Calls `work` and catches everything but the unwinding of a cancelled thread, which passes. `onException` gets the
// text (const char*), which is valid during the call, is cut after 255 bytes and needs no memory. An exception thrown
// as a pointer to a new object is freed. Returns whether nothing was thrown. Exceptions from `onException` propagate.
template <typename Work, typename OnException>
bool CatchAll(Work work, OnException onException) {
    return CatchAllOf([](void* argument) { (*static_cast<Work*>(argument))(); }, &work,
                      [](void* argument, const char* text) { (*static_cast<OnException*>(argument))(text); },
                      &onException);
}

}  // namespace Threading
