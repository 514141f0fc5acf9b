#pragma once

#include <cstddef>

#include "net/ClientWatch.h"

namespace Brenk::Net {

// Tracks the peak of clients and pending output since memory was last returned to the system, and returns it when half
// of a peak has gone.
//
// glibc returns only free memory at the top of the heap, which long-lived blocks usually pin. Receive thread.
class MemoryPeaks {
  public:
    // Call regularly. Allocations block while the heap is searched for pages, so that happens at most once a second.
    void ReleaseMemoryAfterPeak(ClientWatch& clients, OutputBudget& pending);

  private:
    bool HasCrowdLeft(ClientWatch& clients);
    bool HasOutputLeft(OutputBudget& pending);

    std::size_t clients_ = 0;
    std::size_t pending_ = 0;
    ClientWatch::Clock::time_point nextRelease_{};
};

}  // namespace Brenk::Net
