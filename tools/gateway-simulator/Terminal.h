#pragma once

#include <optional>

#include "tools/gateway-simulator/LineEditor.h"
#include "tools/gateway-simulator/Screen.h"

// The terminal library's.
struct screen;

namespace Simulator {

// The terminal on standard input and standard output, which is the screen's from construction to destruction and then
// as it was before.
//
// For the thread that made it, and one at a time in a process. Which bytes are characters is asked of the locale of the
// process, which must be set before.
class Terminal {
  public:
    // Throws std::runtime_error when the terminal cannot show a screen.
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    // As the window is now.
    ScreenSize Size();
    void Show(const Screen& content);
    // Redraws everything at the next Show(), in case something else wrote to the terminal.
    static void Redraw();
    // A key that was pressed; nothing when there is none. Does not wait.
    static std::optional<KeyPress> ReadKey();
    // Whether the terminal has been closed.
    static bool IsGone();

  private:
    ::screen* screen_ = nullptr;
};

}  // namespace Simulator
