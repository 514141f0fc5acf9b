#include "threading/Sleep.h"

#include <cerrno>
#include <ctime>

namespace Threading {

void SleepFor(std::chrono::nanoseconds duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    timespec remaining = {};
    remaining.tv_sec = static_cast<time_t>(seconds.count());
    remaining.tv_nsec = static_cast<long>((duration - seconds).count());
    while (nanosleep(&remaining, &remaining) == -1 && errno == EINTR) {
    }
}

}  // namespace Threading
