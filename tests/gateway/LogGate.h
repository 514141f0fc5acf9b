#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

namespace Testing {

// Holds every thread that logs a line with `text` in it, right after the line was captured, until the gate is opened
// or destroyed: so a test can stop one thread of the program at a chosen step and let the others go on.
//
// Any number of gates may stand at once. The thread that made a gate must not log such a line itself.
class LogGate {
  public:
    explicit LogGate(std::string text);
    ~LogGate();
    LogGate(const LogGate&) = delete;
    LogGate& operator=(const LogGate&) = delete;

    // Waits until a thread stands at the gate; false when none comes.
    bool WaitForArrival();

    void Open();

  private:
    friend class LogGateAppender;
    struct State {
        std::string text;
        std::mutex mutex;
        std::condition_variable changed;
        bool open = false;
        bool reached = false;
    };
    std::shared_ptr<State> state_;
};

}  // namespace Testing
