#include "diagnostics/Log.h"

namespace Diagnostics {

std::unique_ptr<plog::Record> NewRecord(plog::Severity severity, const char* function, std::size_t line) {
    const char* const signature = LogOperation::SignatureOr(function);
    auto record = std::make_unique<plog::Record>(severity, signature, line, "", nullptr, 0);
    *record << signature << ' ';
    return record;
}

}  // namespace Diagnostics
