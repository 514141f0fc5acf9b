#include "threading/StopFlag.h"

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

void StopFlag::Stop() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopped_ = true;
    }
    condition_.notify_all();
}

bool StopFlag::IsStopped() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return stopped_;
}

bool StopFlag::SleepFor(std::chrono::milliseconds duration) {
    std::unique_lock<std::mutex> lock(mutex_);
    return !condition_.wait_for(lock, duration, [this] { return stopped_; });
}

}  // namespace Threading
