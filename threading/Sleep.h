#pragma once

#include <chrono>

namespace Threading {

// Sleeps for the whole time: a signal that interrupts the sleep only makes it go on with what remains. Any thread;
// a cancellation point.
void SleepFor(std::chrono::nanoseconds duration);

}  // namespace Threading
