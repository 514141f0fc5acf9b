#include "net/MemoryPeaks.h"

#include <malloc.h>

#include <algorithm>

namespace Brenk::Net {
namespace {

constexpr std::chrono::seconds kBetweenReleases{1};

// So many clients, or so much pending output, leave more behind than the allocator keeps for a few.
constexpr std::size_t kCrowd = 64;
constexpr std::size_t kManyBytes = 512UL * 1024;

}  // namespace

void MemoryPeaks::ReleaseMemoryAfterPeak(ClientWatch& clients, OutputBudget& pending) {
    const auto now = ClientWatch::Clock::now();
    if (now < nextRelease_) {
        return;
    }
    const bool hasCrowdLeft = HasCrowdLeft(clients);
    if (HasOutputLeft(pending) || hasCrowdLeft) {
        malloc_trim(0);
        nextRelease_ = now + kBetweenReleases;
    }
}

bool MemoryPeaks::HasCrowdLeft(ClientWatch& clients) {
    clients_ = std::max(clients_, clients.Count());
    if (clients_ < kCrowd || clients.Count() > clients_ / 2) {
        return false;
    }
    clients_ = clients.Count();
    clients.ShrinkToFit();
    return true;
}

bool MemoryPeaks::HasOutputLeft(OutputBudget& pending) {
    const std::size_t used = pending.Used();
    pending_ = std::max(pending_, pending.TakePeak());
    if (pending_ < kManyBytes || used > pending_ / 2) {
        return false;
    }
    pending_ = used;
    return true;
}

}  // namespace Brenk::Net
