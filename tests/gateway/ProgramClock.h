#pragma once

#include <ctime>

namespace Testing {

// While it lives, the clock of whole seconds (time) stands still in the whole test program, so that what the program
// does by that clock can be tested to the second. The test program is linked so that its calls come here first
// (--wrap). One at a time; any thread may read the clock meanwhile.
class StandingClock {
  public:
    explicit StandingClock(std::time_t now);
    ~StandingClock();
    StandingClock(const StandingClock&) = delete;
    StandingClock& operator=(const StandingClock&) = delete;

    // Puts the clock to another time, forwards or back.
    void Set(std::time_t now);
};

}  // namespace Testing
