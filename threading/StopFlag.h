#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace Threading {

// Tells threads that pace themselves with sleeps to end, and wakes them at once.
//
// Any thread; once stopped it stays so.
class StopFlag {
  public:
    void Stop();
    bool IsStopped() const;

    // Sleeps for the whole duration, or until Stop() is called. Returns false when stopped.
    bool SleepFor(std::chrono::milliseconds duration);

  private:
    mutable std::mutex mutex_;
    std::condition_variable condition_;
    bool stopped_ = false;
};

}  // namespace Threading
