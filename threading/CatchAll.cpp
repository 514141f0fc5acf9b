#include "threading/CatchAll.h"

#include <array>
#include <cstdio>
#include <exception>
#include <memory>

namespace Threading {
namespace {

using Text = std::array<char, 256>;

// A longer one is cut. Needs no memory, which may be what has run out.
void Keep(Text& text, const char* what) {
    static_cast<void>(std::snprintf(text.data(), text.size(), "%s", what));
}

// Keeps the text of the exception that is being handled. The program's own are thrown as pointers to new objects; such
// an object is freed here.
void KeepCurrentException(Text& text) noexcept {
    try {
        throw;
    } catch (std::exception* thrown) {
        const std::unique_ptr<std::exception> exception(thrown);
        Keep(text, exception->what());
    } catch (const std::exception& exception) {
        Keep(text, exception.what());
    } catch (...) {
        Keep(text, "unknown exception");
    }
}

// By itself, so that only who has caught something pays for the room of the text.
__attribute__((noinline)) void TellCurrentException(void (*onException)(void*, const char*), void* argument) {
    Text text{};
    KeepCurrentException(text);
    onException(argument, text.data());
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
        TellCurrentException(onException, handlerArgument);
        return false;
    }
}

}  // namespace Threading
