#pragma once

#include <atomic>

namespace Testing {

// Counts its objects on the stacks of cancelled threads, and what such a thread caught. Static, because a cancelled
// thread may outlive the test that started it.
class Unwinding {
  public:
    Unwinding() { ++begun; }
    ~Unwinding() { ++unwound; }
    Unwinding(const Unwinding&) = delete;
    Unwinding& operator=(const Unwinding&) = delete;

    static void Reset() {
        begun = 0;
        unwound = 0;
        caught = 0;
    }

    static inline std::atomic<int> begun{0};
    static inline std::atomic<int> unwound{0};
    static inline std::atomic<int> caught{0};
};

}  // namespace Testing
