#pragma once

#include <cstddef>

#include "net/ClientWatch.h"

namespace Brenk::Net {

// Knows the most clients, and the most pending output, since memory was given back last, and gives it back when half of
// a crowd has left.
//
// The allocator gives pages back by itself only at the end of its heap, where something of a long life stands by then.
// Receive thread.
class MemoryPeaks {
  public:
    // To be called now and then. Whoever allocates waits while the heap is looked through for pages, so that is done
    // once a second at most.
    void ReleaseMemoryAfterPeak(ClientWatch& clients, OutputBudget& pending);

  private:
    bool HasCrowdLeft(ClientWatch& clients);
    bool HasOutputLeft(OutputBudget& pending);

    std::size_t clients_ = 0;
    std::size_t pending_ = 0;
    ClientWatch::Clock::time_point nextRelease_{};
};

}  // namespace Brenk::Net
