#include "tests/gateway/ProgramClock.h"

#include <atomic>

namespace {

constexpr std::time_t kRunning = -1;

std::atomic<std::time_t> standsAt{kRunning};

}  // namespace

extern "C" {

std::time_t __real_time(std::time_t* result) noexcept;

std::time_t __wrap_time(std::time_t* result) noexcept {
    const std::time_t standing = standsAt;
    if (standing == kRunning) {
        return __real_time(result);
    }
    if (result != nullptr) {
        *result = standing;
    }
    return standing;
}

}  // extern "C"

namespace Testing {

StandingClock::StandingClock(std::time_t now) {
    standsAt = now;
}

StandingClock::~StandingClock() {
    standsAt = kRunning;
}

void StandingClock::Set(std::time_t now) {
    standsAt = now;
}

}  // namespace Testing
