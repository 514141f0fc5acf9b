#include "threading/CatchAll.h"

#include "diagnostics/CaughtException.h"

namespace Threading {
namespace {

// By itself, so that only who has caught something pays for the room of the text.
__attribute__((noinline)) void TellCaughtException(void (*onException)(void*, const char*), void* argument) {
    const Diagnostics::CaughtException caught;
    onException(argument, caught.Text());
}

}  // namespace

LETS_CANCELLATION_PASS bool CatchAllOf(void (*work)(void*), void* workArgument, void (*onException)(void*, const char*),
                                       void* handlerArgument) {
    try {
        work(workArgument);
        return true;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        TellCaughtException(onException, handlerArgument);
        return false;
    }
}

}  // namespace Threading
