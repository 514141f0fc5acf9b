#pragma once

#include <cstddef>
#include <new>

namespace Testing {

// The allocations of this test program go through CountedCalls.cpp, whoever makes them: operator new, the C library,
// any other library.

// How many allocations the calling thread has made so far.
std::size_t OwnAllocations();

// How many all other threads have made together. To be asked by one thread alone.
std::size_t AllocationsOfOtherThreads();

// While it lives, one allocation of the thread that made it finds no memory: the one behind so many others. One at a
// time on a thread.
class FailingAllocation {
  public:
    explicit FailingAllocation(std::size_t behind);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    // Whether it has failed yet.
    bool HasFailed() const;
};

// For each allocation that `work` makes: prepares, runs `work` without that one, and checks what has come of it, with
// whether `work` came to its end; std::bad_alloc may end it. The last run has all its memory.
template <typename Prepare, typename Work, typename Check>
void ForEachAllocation(Prepare prepare, Work work, Check check) {
    bool hasFailed = true;
    for (std::size_t behind = 0; hasFailed; ++behind) {
        prepare();
        bool isDone = false;
        {
            const FailingAllocation failing(behind);
            try {
                work();
                isDone = true;
            } catch (const std::bad_alloc&) {
            }
            hasFailed = failing.HasFailed();
        }
        check(isDone);
    }
}

// How many timed locks all threads have taken: the mark of a pass of the server socket or of a gateway's send thread.
std::size_t TimedLocks();

// How many times a thread has waited for sockets: the mark of a pass with something to wait for. Here such a wait ends
// after a millisecond, so that many passes happen in a short time.
std::size_t SocketWaits();

}  // namespace Testing
