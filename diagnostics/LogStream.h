#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "diagnostics/LineQueue.h"
#include "diagnostics/LineTarget.h"

namespace Diagnostics {

// Lines to something that may not take them, in the order in which they were written. Nobody waits: what is not taken
// at once is queued, and a thread that is started for it passes it on.
//
// A target that takes nothing for 1 s has stalled. Lines are then left out until it takes again, and a notice with
// their number stands in their place. So are lines for a target that takes something but is 4 MiB behind. What was
// queued before stays, so a line that was taken in part is always ended.
//
// Any thread may write and flush. Destroyed by one that shares it with nobody any more.
class LogStream {
  public:
    using Clock = std::chrono::steady_clock;
    // Makes the line, its end included, that says that so many are missing.
    using Notice = std::function<std::string(std::size_t missing)>;

    LogStream(LineTarget target, Notice notice);
    ~LogStream();
    LogStream(const LogStream&) = delete;
    LogStream& operator=(const LogStream&) = delete;

    // Takes whole lines, their ends included.
    void Write(std::string line);

    // Returns when all that was written before is taken, or the target has stalled, or at `end`.
    void Flush(Clock::time_point end);

  private:
    bool MayQueue();
    void QueueNotice();
    bool PassOn();
    std::size_t PassOnSome();
    bool HasStalled() const;
    void LookForReader();
    void WakeWriter();
    void StartWriter();
    void RunWriter();
    void GiveMemoryBack(std::unique_lock<std::mutex>& lock);
    void WaitForReader(std::unique_lock<std::mutex>& lock);

    const Notice notice_;
    std::mutex mutex_;  // guards what is below
    LineTarget target_;
    LineQueue queue_;
    std::size_t missing_ = 0;      // lines left out behind the last one queued; 0 when the queue is empty
    Clock::time_point lastTaken_;  // when the target took something, or the queue began
    int backlog_ = 0;
    bool stops_ = false;
    std::condition_variable wake_;
    std::thread writer_;
};

}  // namespace Diagnostics
