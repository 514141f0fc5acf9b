#pragma once

namespace Diagnostics {

// The operation on whose behalf a thread writes its log lines: log readers search for lines by the operation that
// they belong to, however its work is cut into functions.
//
// The innermost one of a thread counts, and the outer one again when it ends, also by an exception, a cancellation or
// pthread_exit. A callback is an operation of its own within the one that calls it.
//
// Lives on the stack of the thread that it is for. Async-signal-safe.
class LogOperation {
  public:
    // `signature` stands in front of each line, as the compiler writes it; it must live as long as the object.
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

}  // namespace Diagnostics

// Makes the function in which it stands the operation of the lines that are written until its block ends. An overload
// that shares its work with the operation that readers know opens a LogOperation with that one's signature instead.
#define MUX_OPERATION() const Diagnostics::LogOperation muxOperation(__PRETTY_FUNCTION__)
