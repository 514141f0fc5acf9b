#pragma once

#include <cstddef>

namespace Testing {

// The allocations of this test program go through CountedCalls.cpp, whoever makes them: operator new, the C library,
// any other library.

// How many allocations the calling thread has made so far.
std::size_t OwnAllocations();

// How many all other threads have made together. To be asked by one thread alone.
std::size_t AllocationsOfOtherThreads();

// How many timed locks all threads have taken: the mark of a pass of the server socket or of a gateway's send thread.
std::size_t TimedLocks();

// How many times a thread has waited for sockets: the mark of a pass with something to wait for. Here such a wait ends
// after a millisecond, so that many passes happen in a short time.
std::size_t SocketWaits();

}  // namespace Testing
