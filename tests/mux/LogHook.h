#pragma once

#include <functional>
#include <memory>
#include <string>

namespace Testing {

// Does something in the middle of what is tested: at the moment at which it writes a certain log line, on the thread
// that writes it. What the action throws is thrown out of the log line.
//
// One at a time, beside a CapturedLog. Lines that the action itself causes do not run it again.
class LogHook {
  public:
    // `text` is looked for anywhere in the line; the action runs for each line that holds it.
    LogHook(std::string text, std::function<void()> action);

    // Waits for an action that runs; none runs any more after it.
    ~LogHook();

    LogHook(const LogHook&) = delete;
    LogHook& operator=(const LogHook&) = delete;

    // How many lines have run the action.
    int Runs() const;

    // Puts the hook behind the log. Once, before the first thread logs.
    static void Install();

    struct State;

  private:
    std::shared_ptr<State> state_;
};

}  // namespace Testing
