#include "diagnostics/LogLine.h"

#include <array>
#include <charconv>
#include <limits>
#include <new>

#include "diagnostics/LogOperation.h"

namespace Diagnostics {
namespace {

template <typename Number>
using Digits = std::array<char, std::numeric_limits<Number>::digits10 + 2>;

template <typename Number>
std::string_view TextOf(Number number, Digits<Number>& digits) {
    const char* const end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    return {digits.data(), static_cast<std::size_t>(end - digits.data())};
}

}  // namespace

LogLine::LogLine(plog::Severity severity, const char* function, std::size_t line) noexcept : record_(TakeRecord()) {
    const char* const signature = LogOperation::SignatureOr(function);
    if (record_ != nullptr) {
        record_->Begin(severity, signature, line);
    }
    Add(signature);
    Add(" ");
}

LogLine& LogLine::operator<<(const char* text) {
    Add(text != nullptr ? text : "(null)");
    return *this;
}

LogLine& LogLine::operator<<(std::string_view text) {
    Add(text.substr(0, text.find('\0')));
    return *this;
}

LogLine& LogLine::operator<<(char character) {
    Add({&character, character != '\0' ? std::size_t{1} : 0});
    return *this;
}

LogLine& LogLine::AddNumber(long long number) {
    Digits<long long> digits;
    Add(TextOf(number, digits));
    return *this;
}

LogLine& LogLine::AddNumber(unsigned long long number) {
    Digits<unsigned long long> digits;
    Add(TextOf(number, digits));
    return *this;
}

void LogLine::Add(std::string_view text) noexcept {
    if (record_ == nullptr) {
        return;
    }
    try {
        record_->Text() += text;
    } catch (const std::bad_alloc&) {
        record_.reset();
    }
}

}  // namespace Diagnostics
