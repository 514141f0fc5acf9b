#pragma once

#include <string>
#include <vector>

#include "tests/support/Process.h"

namespace Testing {

// A program on a terminal of its own, with us at the other end of it.
//
// For one thread.
class PseudoTerminal : public Process {
  public:
    static constexpr unsigned short kRows = 24;
    static constexpr unsigned short kColumns = 100;

    // Takes the program and its arguments, and the kind of terminal (TERM).
    explicit PseudoTerminal(const std::vector<std::string>& command, const std::string& kind = "xterm");

    // Waits for a text behind all that was waited for before. What the program draws has control sequences in it, and
    // only what changed is drawn.
    bool WaitFor(const std::string& text) { return WaitForNext(text); }

    void Resize(unsigned short rows, unsigned short columns) const;
    // Whether what is typed is shown and handed over by lines, as before any program changed that.
    bool IsInLineMode() const;
    // Whether a read by the program, or by any other job that has the terminal from the same shell, does not wait.
    bool IsNonBlocking() const;

    // Sends the signal again and again until the program has ended, in whichever way.
    void SignalUntilItEnds(int number);
};

}  // namespace Testing
