#include "diagnostics/LogLine.h"

#include <new>

#include "diagnostics/LogOperation.h"

namespace Diagnostics {

LogLine::LogLine(plog::Severity severity, const char* function, std::size_t line) noexcept {
    const char* const signature = LogOperation::SignatureOr(function);
    record_.reset(new (std::nothrow) plog::Record(severity, signature, line, "", nullptr, 0));
    *this << signature << ' ';
}

LogLine& LogLine::operator<<(const char* text) {
    if (record_ != nullptr) {
        *record_ << text;
    }
    return *this;
}

}  // namespace Diagnostics
