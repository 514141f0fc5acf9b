#pragma once

#include <sys/types.h>
#include <termios.h>

#include <chrono>
#include <string>
#include <vector>

namespace Testing {

// A program on a terminal of its own, with us at the other end of it. Killed when it is still there at the end.
//
// For one thread.
class PseudoTerminal {
  public:
    static constexpr unsigned short kRows = 24;
    static constexpr unsigned short kColumns = 100;

    // Takes the program and its arguments, and the kind of terminal (TERM).
    explicit PseudoTerminal(const std::vector<std::string>& command, const std::string& kind = "xterm");
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    // Types a text.
    void Type(const std::string& text) const;
    // Reads until `text` has come, behind all that was waited for before; false when the deadline passes or the
    // program ends first. What the program draws has control sequences in it, and only what changed is drawn.
    bool WaitFor(const std::string& text, std::chrono::milliseconds deadline = std::chrono::seconds(20));
    // All that has been read so far.
    const std::string& Output() const { return output_; }

    void Resize(unsigned short rows, unsigned short columns) const;
    // Whether what is typed is shown and handed over by lines, as before any program changed that.
    bool IsInLineMode() const;
    // Whether a read by the program, or by any other job that has the terminal from the same shell, does not wait.
    bool IsNonBlocking() const;
    // Goes away, as when a window is closed.
    void HangUp();

    void Signal(int number) const;
    // Sends the signal again and again until the program has ended, in whichever way.
    void SignalUntilItEnds(int number, std::chrono::milliseconds deadline = std::chrono::seconds(20));
    // The exit status, or -1 when a signal ended it or the deadline passes first. Reads the rest of the output.
    int WaitForExit(std::chrono::milliseconds deadline = std::chrono::seconds(20));

  private:
    bool ReadOutput(std::chrono::steady_clock::time_point end);

    pid_t process_ = -1;
    int terminal_ = -1;
    std::string output_;
    std::size_t seen_ = 0;
};

}  // namespace Testing
