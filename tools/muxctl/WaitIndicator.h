#pragma once

#include <chrono>
#include <ostream>

namespace Muxctl {

// One line on a terminal that shows that the program still waits. Wiped out again at the end.
class WaitIndicator {
  public:
    // Draws nothing when it is not enabled. The stream must remain live as long as the indicator.
    WaitIndicator(std::ostream& stream, bool isEnabled);
    ~WaitIndicator();
    WaitIndicator(const WaitIndicator&) = delete;
    WaitIndicator& operator=(const WaitIndicator&) = delete;

    // How often to draw it.
    static constexpr std::chrono::milliseconds kPeriod{100};

    // Draws itself over what it drew before.
    void Draw(std::chrono::milliseconds elapsed);

  private:
    std::ostream& stream_;
    bool isEnabled_;
    bool isDrawn_ = false;
};

}  // namespace Muxctl
