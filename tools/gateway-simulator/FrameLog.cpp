#include "tools/gateway-simulator/FrameLog.h"

namespace Simulator {

void FrameLog::Add(const ReceivedFrame& received) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        frames_.push_back(received);
        bytes_ += received.bytes.size();
        while (frames_.size() > kKept || bytes_ > kKeptBytes) {
            bytes_ -= frames_.front().bytes.size();
            frames_.pop_front();
        }
        ++count_;
    }
    added_.notify_all();
}

std::vector<ReceivedFrame> FrameLog::Snapshot() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return {frames_.begin(), frames_.end()};
}

std::size_t FrameLog::Count() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return count_;
}

bool FrameLog::WaitFor(std::size_t count, std::chrono::milliseconds deadline) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return added_.wait_for(lock, deadline, [&] { return count_ >= count; });
}

}  // namespace Simulator
