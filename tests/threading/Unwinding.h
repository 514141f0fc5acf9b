#pragma once

#include <atomic>

namespace Testing {

// Counts the unwinding of cancelled threads. An object on the stack of such a thread counts its construction and its
// destruction. Static, because a cancelled thread may outlive its test.
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
