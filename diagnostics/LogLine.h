#pragma once

#include <plog/Severity.h>

#include <cstddef>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

#include "diagnostics/LogRecord.h"

namespace Diagnostics {

// A line of the log while its text is put together. When memory runs out it is none: what the line is about goes on
// without it, for a loop that cannot log the end of its memory has to go on, and a destructor too.
//
// The record is not on the stack because it is half a kilobyte: it would stand in the frame of every function that can
// log, and a gateway's two threads would need a page more each for lines that are never written.
//
// Lives for one log line, on the thread that logs.
class LogLine {
  public:
    // A line of the thread's operation, whose signature its text begins with; of `function` when there is none.
    LogLine(plog::Severity severity, const char* function, std::size_t line) noexcept;

    // Add to the text, in the format of an output stream of the C++ library that was told no other. Null is told as
    // "(null)"; a text ends at its first NUL, and a character that is one adds nothing.
    LogLine& operator<<(const char* text);
    LogLine& operator<<(char* text) { return *this << static_cast<const char*>(text); }
    LogLine& operator<<(const std::string& text) { return *this << text.c_str(); }
    LogLine& operator<<(std::string_view text);
    LogLine& operator<<(char character);
    template <typename Operand>
    LogLine& operator<<(const Operand& operand);

    // Null when there was no memory for it.
    const plog::Record* Record() const { return record_.get(); }

  private:
    void Add(std::string_view text) noexcept;
    LogLine& AddNumber(long long number);
    LogLine& AddNumber(unsigned long long number);

    LogRecordPointer record_;
};

template <typename Operand>
inline constexpr bool kIsNumber =
    std::is_integral_v<Operand> && !std::is_same_v<Operand, signed char> && !std::is_same_v<Operand, unsigned char>;

template <typename Operand>
LogLine& LogLine::operator<<(const Operand& operand) {
    if constexpr (!kIsNumber<Operand>) {
        std::ostringstream text;
        text << operand;
        return *this << text.str();
    } else if constexpr (std::is_signed_v<Operand>) {
        return AddNumber(static_cast<long long>(operand));
    } else {
        return AddNumber(static_cast<unsigned long long>(operand));
    }
}

}  // namespace Diagnostics
