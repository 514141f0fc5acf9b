#include "threading/StopFlag.h"

namespace Threading {

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
