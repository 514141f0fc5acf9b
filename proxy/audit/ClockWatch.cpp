#include "proxy/audit/ClockWatch.h"

#include <cstdlib>
#include <utility>

namespace MuxProxy {
namespace {

using std::chrono::seconds;

// Further than summer time and the correction of a clock that was right.
constexpr seconds kJump = std::chrono::hours(2);

}  // namespace

ClockWatch::ClockWatch(std::function<Clock::time_point()> now, seconds doubt)
    : readClock_(std::move(now)), doubt_(doubt), now_(readClock_()), steady_(Steady::now()) {}

std::optional<std::string> ClockWatch::Look() {
    const Clock::time_point expected = now_ + (Steady::now() - steady_);
    now_ = readClock_();
    steady_ = Steady::now();
    const seconds moved = std::chrono::duration_cast<seconds>(now_ - expected);
    if (std::abs(moved.count()) < kJump.count()) {
        return std::nullopt;
    }
    Doubt();
    return "the clock moved by " + std::to_string(moved.count()) + " seconds";
}

std::optional<std::string> ClockWatch::Compare(Clock::time_point newestRow) {
    if (newestRow <= now_ + kJump && newestRow >= now_ - doubt_) {
        return std::nullopt;
    }
    Doubt();
    const seconds behind = std::chrono::duration_cast<seconds>(now_ - newestRow);
    return "the clock is " + std::to_string(behind.count()) + " seconds ahead of the newest row";
}

}  // namespace MuxProxy
