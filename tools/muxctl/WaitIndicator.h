#pragma once

#include <chrono>
#include <cstddef>
#include <ostream>
#include <string>

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
    // Draws how much is done instead, and how long the rest will take.
    void DrawProgress(std::size_t done, std::size_t total, std::chrono::milliseconds elapsed);

  private:
    void DrawText(const std::string& text);

    std::ostream& stream_;
    bool isEnabled_;
    bool isDrawn_ = false;
};

}  // namespace Muxctl
