#pragma once

#include <array>
#include <csignal>

namespace Muxctl {

// While it exists, SIGINT and SIGTERM do not end the program but are noted, unless the program ignores them; the same
// one a second time ends it. One at a time, and only in a program with one thread.
class Interruption {
  public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    // Throws std::runtime_error, "interrupted", if a signal came.
    void ThrowIfAsked() const;
    // Ends the program by the signal that came, for its parent to see; returns if none did.
    void EndIfAsked();

  private:
    static constexpr std::array kSignals = {SIGINT, SIGTERM};

    void Restore();

    std::array<struct sigaction, kSignals.size()> before_ = {};
};

}  // namespace Muxctl
