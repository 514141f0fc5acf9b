#include "diagnostics/Log.h"

namespace Diagnostics {

std::unique_ptr<plog::Record> NewRecord(plog::Severity severity, const char* function, std::size_t line) {
    return std::make_unique<plog::Record>(severity, function, line, "", nullptr, 0);
}

}  // namespace Diagnostics
