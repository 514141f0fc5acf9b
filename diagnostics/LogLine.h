#pragma once

#include <plog/Record.h>

#include <cstddef>
#include <memory>
#include <string>

namespace Diagnostics {

// A line of the log while its text is put together. When memory runs out it is none: what the line is about goes on
// without it, for a loop that cannot log the end of its memory has to go on, and a destructor too.
//
// The record lives on the heap because it is half a kilobyte: on the stack it would stand in the frame of every
// function that can log, and a gateway's two threads would need a page more each for lines that are never written.
//
// Lives for one log line, on the thread that logs.
class LogLine {
  public:
    // A line of the thread's operation, whose signature its text begins with; of `function` when there is none.
    LogLine(plog::Severity severity, const char* function, std::size_t line) noexcept;

    // Add to the text. Null is told as "(null)".
    LogLine& operator<<(const char* text);
    LogLine& operator<<(const std::string& text) { return *this << text.c_str(); }
    template <typename Operand>
    LogLine& operator<<(const Operand& operand) {
        if (record_ != nullptr) {
            *record_ << operand;
        }
        return *this;
    }

    // Null when there was no memory for it.
    const plog::Record* Record() const { return record_.get(); }

  private:
    std::unique_ptr<plog::Record> record_;
};

}  // namespace Diagnostics
