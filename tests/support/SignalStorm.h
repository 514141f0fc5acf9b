#pragma once

#include <atomic>
#include <thread>

namespace Testing {

// While it lives, every other thread of the process is interrupted by a signal each millisecond. The handler is set
// without SA_RESTART, so whatever such a thread waits in returns EINTR. One at a time.
class SignalStorm {
  public:
    SignalStorm();
    ~SignalStorm();
    SignalStorm(const SignalStorm&) = delete;
    SignalStorm& operator=(const SignalStorm&) = delete;

    // How many signals have been handled.
    int Handled() const;

  private:
    void InterruptAll() const;

    std::atomic<bool> stopped_{false};
    std::thread thread_;
};

}  // namespace Testing
