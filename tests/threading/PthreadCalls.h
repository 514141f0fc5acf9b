#pragma once

#include <ctime>
#include <string>
#include <vector>

namespace Testing {

// The POSIX calls of this test program go through PthreadCalls.cpp, by the linker. While an object of this class lives,
// the calls of the thread that made it are noted and, on demand, fail. One at a time.
//
// Calls on mutexes are noted only when they lie inside the watched object, because the log and the tests use mutexes
// as well.
class PthreadCalls {
  public:
    // Notes calls on threads and on attributes, and those on mutexes inside `object`.
    template <typename Object>
    explicit PthreadCalls(const Object& object) : PthreadCalls(&object, sizeof object) {}

    // Without an object: calls on threads only.
    PthreadCalls() : PthreadCalls(nullptr, 0) {}

    ~PthreadCalls();
    PthreadCalls(const PthreadCalls&) = delete;
    PthreadCalls& operator=(const PthreadCalls&) = delete;

    // From now on the call returns `result`. It does nothing, except that an unlock still unlocks, and that a lock
    // which finds a dead owner (EOWNERDEAD) still locks.
    void Fail(const std::string& call, int result);

    // The names of the calls, in their order, failed ones included.
    const std::vector<std::string>& Names() const;

    // How often a call was made.
    int Count(const std::string& call) const;

    // The deadline of the last timed lock.
    timespec Deadline() const;

  private:
    PthreadCalls(const void* object, std::size_t size);
};

}  // namespace Testing
