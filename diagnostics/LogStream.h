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

// Writes lines in order to a destination that may not accept them. Callers never wait: what is not accepted at once is
// queued and passed on by a thread started for it.
//
// A target that accepts nothing for 1 s has stalled: lines are dropped until it accepts again, and a notice with their
// number replaces them. The same applies to a target that is 4 MiB behind. Queued lines stay, so a partly written line
// is always completed.
//
// Any thread may write and flush. Destroy when no other thread uses it.
class LogStream {
  public:
    using Clock = std::chrono::steady_clock;
    // Returns the line, with its end, that reports this many missing lines.
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
