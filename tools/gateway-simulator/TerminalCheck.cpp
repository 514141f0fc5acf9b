#include "tools/gateway-simulator/TerminalCheck.h"

// The order is the library's wish. Its second header makes macros of many common words, so nothing else is in this
// file.
#include <curses.h>
#include <term.h>
#include <unistd.h>

#include <cstdint>

namespace Simulator {
namespace {

bool CanPlaceTheCursor() {
    int error = 0;
    if (setupterm(nullptr, STDOUT_FILENO, &error) != OK) {
        return false;
    }
    const char* const movement = tigetstr("cup");
    del_curterm(cur_term);
    return movement != nullptr && reinterpret_cast<std::intptr_t>(movement) != -1;
}

// False without a terminal, too. A job that changes the terminal while it is in the background is stopped.
bool IsInForeground() {
    return tcgetpgrp(STDIN_FILENO) == getpgrp();
}

}  // namespace

bool IsTerminalUsable() {
    return IsInForeground() && isatty(STDOUT_FILENO) == 1 && CanPlaceTheCursor();
}

}  // namespace Simulator
