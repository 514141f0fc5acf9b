#pragma once

#include <plog/Log.h>

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "diagnostics/LogRecord.h"

// Writes one line to the process log: MUX_LOG(plog::info) << "Gateway " << id << " connected.";
//
// The message begins with the signature of the calling thread's operation (see LogOperation) and a blank. Operands are
// evaluated only if the severity is logged. Any thread may log, including destructors and signal handlers; a log line
// is never a cancellation point. A line without memory is dropped and nothing is thrown, except by an operand itself.
//
// The text is complete before the LogCall begins, so a fault in an operand still gets the lines of a crash.
#define MUX_LOG(severity) \
    IF_PLOG(severity)     \
    Diagnostics::LogCall() += Diagnostics::LogLine(severity, PLOG_GET_FUNC(), __LINE__)

// Makes the enclosing function the operation of all lines until the end of the block. An overload that shares its work
// with a known operation opens a LogOperation with that operation's signature instead.
#define MUX_OPERATION() const Diagnostics::LogOperation muxOperation(__PRETTY_FUNCTION__)

namespace Diagnostics {

// Whether a line of this severity would be written: for work that only a log line needs. Any thread.
inline bool IsLogged(plog::Severity severity) {
    return plog::get() != nullptr && plog::get()->checkSeverity(severity);
}

// The operation on whose behalf a thread writes its log lines: log readers search for lines by the operation that
// they belong to, however its work is cut into functions.
//
// The innermost one of a thread counts, and the outer one again when it ends, also by an exception, a cancellation or
// pthread_exit. A callback is an operation of its own within the one that calls it.
//
// Lives on the stack of the thread that it is for. Async-signal-safe.
class LogOperation {
  public:
    // `signature` precedes each line, as the compiler writes it; it must outlive the object.
    explicit LogOperation(const char* signature) : outer_(current_) { current_ = signature; }
    ~LogOperation() { current_ = outer_; }
    LogOperation(const LogOperation&) = delete;
    LogOperation& operator=(const LogOperation&) = delete;

    // The signature of the calling thread's operation; `function` for a thread that is in none.
    static const char* SignatureOr(const char* function) { return current_ != nullptr ? current_ : function; }

  private:
    static inline thread_local const char* current_ = nullptr;

    const char* const outer_;
};

// A log line under construction. When memory runs out it becomes empty and the program continues without it: a loop
// that cannot log the lack of memory must go on, and so must a destructor.
//
// The record is not on the stack because its half kilobyte would be in the frame of every function that logs, and cost
// each of a gateway's two threads another page.
//
// Lives for one log line, on the thread that logs.
class LogLine {
  public:
    // A line of the thread's operation, whose signature its text begins with; of `function` when there is none.
    LogLine(plog::Severity severity, const char* function, std::size_t line) noexcept;

    // Append to the text in the default format of a C++ output stream. Null is written as "(null)"; a text ends at its
    // first NUL, and a char that is NUL adds nothing.
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
    LogLine& AddStreamed(const std::function<void(std::ostream& text)>& write);

    LogRecordPointer record_;
};

// Hands one finished line to logger 0.
//
// Thread cancellation is held off meanwhile: the appenders write to files, which are cancellation points, and a
// destructor that logs must not be unwound. A signal that would log on a thread which is inside the logger, and so
// holds its lock, can be put off until the line is written.
//
// Lives for one log line, on the thread that logs.
class LogCall {
  public:
    LogCall();
    ~LogCall();
    LogCall(const LogCall&) = delete;
    LogCall& operator=(const LogCall&) = delete;

    // Writes the line to every appender of logger 0, which must exist. Without memory the line is dropped.
    void operator+=(const LogLine& line) const;

    // Whether the calling thread is inside the logger. Async-signal-safe.
    static bool IsInProgressOnThisThread();

    // If the calling thread is inside the logger, remembers the signal, which is raised again on this thread when
    // the line is written, and returns true. Of several signals in one line the first is raised and the others are
    // dropped, so it is not for faults. Async-signal-safe.
    static bool Defer(int signalNumber);

  private:
    int previousCancelState_ = 0;
};

template <typename Operand>
inline constexpr bool kIsNumber =
    std::is_integral_v<Operand> && !std::is_same_v<Operand, signed char> && !std::is_same_v<Operand, unsigned char>;

template <typename Operand>
LogLine& LogLine::operator<<(const Operand& operand) {
    if constexpr (!kIsNumber<Operand>) {
        static_assert(!std::is_function_v<Operand>, "a manipulator would be lost");
        return AddStreamed([&operand](std::ostream& text) { text << operand; });
    } else if constexpr (std::is_signed_v<Operand>) {
        return AddNumber(static_cast<long long>(operand));
    } else {
        return AddNumber(static_cast<unsigned long long>(operand));
    }
}

}  // namespace Diagnostics
