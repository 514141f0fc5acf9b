#pragma once

#include <stdexcept>

namespace Json {

// A failed assertion of the JSON library: JSON of the wrong shape was read, such as a missing required member or a
// number out of range. The program chooses the reaction by linking one of two libraries:
//
// json-aborting  says on standard error which assertion failed and aborts, which raises SIGABRT on the calling thread.
//                For the daemon, where it leads to the dump and backtrace of its signal handler.
// json-throwing  throws AssertionFailure. For programs that outlive such JSON. What was parsed is destroyed while the
//                stack is unwound. Only members of the library that are noexcept end the process all the same; those
//                assert nothing about JSON that was read.
//
// Any thread may call it.
[[noreturn]] void FailedAssertion(const char* condition, const char* file, int line);

// What json-throwing throws. The text names the condition.
class AssertionFailure : public std::logic_error {
  public:
    using std::logic_error::logic_error;
};

}  // namespace Json
