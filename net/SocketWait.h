#pragma once

#include <poll.h>

#include <chrono>
#include <vector>

namespace Brenk::Net {

// Waits until one of the descriptors has an event or the time is over; a signal does not end the wait. Returns what
// poll() returns: how many have events, 0 when the time is over, -1 with errno set on a failure.
//
// poll and not select: a descriptor number of 1024 or more has no place in an fd_set.
int WaitForEvents(std::vector<pollfd>& descriptors, std::chrono::milliseconds timeout);

// The same for one descriptor and the given poll events.
int WaitForEvent(int descriptor, short events, std::chrono::milliseconds timeout);

}  // namespace Brenk::Net
