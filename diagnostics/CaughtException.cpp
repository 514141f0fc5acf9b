#include "diagnostics/CaughtException.h"

#include <cstdio>
#include <exception>
#include <memory>

namespace Diagnostics {

CaughtException::CaughtException() noexcept {
    try {
        throw;
    } catch (std::exception* thrown) {
        const std::unique_ptr<std::exception> exception(thrown);
        Keep(exception->what());
    } catch (const std::exception& exception) {
        Keep(exception.what());
    } catch (...) {
        Keep("unknown exception");
    }
}

void CaughtException::Keep(const char* text) {
    static_cast<void>(std::snprintf(text_.data(), text_.size(), "%s", text));
}

}  // namespace Diagnostics
