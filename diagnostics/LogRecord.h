#pragma once

#include <plog/Record.h>

#include <cstddef>
#include <memory>
#include <string>

namespace Diagnostics {

// A record of the log library that can be used again, and whose text is put together without a stream: to set up a
// stream costs more than all the rest of a line. The library's own stream operators do nothing for its text.
//
// For one thread at a time.
class LogRecord : public plog::Record {
  public:
    LogRecord();

    // Makes it a line of this moment and of the calling thread, with an empty text. `function` must live as long as
    // the line.
    void Begin(plog::Severity severity, const char* function, std::size_t line);

    // The text after everything that the formatter writes before it.
    std::string& Text() { return text_; }
    const std::string& Text() const { return text_; }

    const plog::util::Time& getTime() const override { return time_; }
    plog::Severity getSeverity() const override { return severity_; }
    unsigned int getTid() const override { return thread_; }
    std::size_t getLine() const override { return line_; }
    const char* getMessage() const override { return text_.c_str(); }

    // The name of the function without its type and arguments, which stays valid until the next call. May throw
    // std::bad_alloc.
    const char* getFunc() const override;

  private:
    plog::util::Time time_{};
    plog::Severity severity_ = plog::none;
    unsigned int thread_ = 0;
    std::size_t line_ = 0;
    const char* function_ = "";
    std::string text_;
    mutable std::string name_;
};

// Gives a record back, to be used again. Async-signal-safe unless many are in use, or the text was long.
struct GiveRecordBack {
    void operator()(LogRecord* record) const;
};

using LogRecordPointer = std::unique_ptr<LogRecord, GiveRecordBack>;

// An unused record, recycled or new; null without memory. Its text is left over from its last use. Any thread; also a
// signal handler that has interrupted this function or the one above, as long as a spare exists: a new record calls the
// allocator.
LogRecordPointer TakeRecord() noexcept;

// The line of a record as the library's text formatter writes it, to the last byte, with the line's end:
//
//   2023-11-14 23:13:20.007 INFO  [4711] [Mux::BrenkMux::Start@128] text
//
// The time is the machine's local time. Any thread. Throws std::bad_alloc.
std::string LineText(const plog::Record& record);

}  // namespace Diagnostics
