#include "diagnostics/CaughtException.h"

#include <exception>
#include <memory>

namespace Diagnostics {

std::string TakeCaughtException() {
    try {
        throw;
    } catch (std::exception* thrown) {
        const std::unique_ptr<std::exception> exception(thrown);
        return exception->what();
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (...) {
        return "unknown exception";
    }
}

}  // namespace Diagnostics
