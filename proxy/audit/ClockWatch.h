#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace MuxProxy {

// Notices that the system's clock was set, after which the ages of rows say nothing until somebody had time to see that
// it was set wrongly. One thread.
class ClockWatch {
  public:
    using Clock = std::chrono::system_clock;

    ClockWatch(std::function<Clock::time_point()> now, std::chrono::seconds doubt);

    // Reads the clock; a reason for doubt, for people, if it has moved since it was read last.
    std::optional<std::string> Look();
    // What Look() read.
    Clock::time_point Now() const { return now_; }

    // The same for the time that has passed since the newest row was written, at the start.
    std::optional<std::string> Compare(Clock::time_point newestRow);

    // From now on for as long as doubts last.
    void Doubt() { trusted_ = steady_ + doubt_; }
    bool IsInDoubt() const { return steady_ < trusted_; }
    std::chrono::seconds DoubtTime() const { return doubt_; }

  private:
    using Steady = std::chrono::steady_clock;

    const std::function<Clock::time_point()> readClock_;
    const std::chrono::seconds doubt_;
    Clock::time_point now_;
    Steady::time_point steady_;
    Steady::time_point trusted_{};
};

}  // namespace MuxProxy
