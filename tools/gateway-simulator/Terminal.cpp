#include "tools/gateway-simulator/Terminal.h"

// Macros of common words would hide the standard library's.
#define NCURSES_NOMACROS 1
#include <curses.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <stdexcept>

namespace Simulator {
namespace {

// How long the rest of a key's sequence may take behind its first byte.
constexpr int kEscapeMilliseconds = 25;

struct KeyRow {
    int code;
    Key key;
};

constexpr int Control(char letter) {
    return letter & 0x1F;
}

constexpr std::array<KeyRow, 20> kKeys = {{
    {'\n', Key::kEnter},
    {'\r', Key::kEnter},
    {KEY_ENTER, Key::kEnter},
    {KEY_BACKSPACE, Key::kBackspace},
    {Control('h'), Key::kBackspace},
    {0x7F, Key::kBackspace},
    {KEY_DC, Key::kDelete},
    {Control('d'), Key::kDelete},
    {KEY_LEFT, Key::kLeft},
    {KEY_RIGHT, Key::kRight},
    {KEY_HOME, Key::kHome},
    {Control('a'), Key::kHome},
    {KEY_END, Key::kEnd},
    {Control('e'), Key::kEnd},
    {KEY_UP, Key::kUp},
    {KEY_DOWN, Key::kDown},
    {KEY_PPAGE, Key::kPageUp},
    {KEY_NPAGE, Key::kPageDown},
    {Control('u'), Key::kClearLine},
    {Control('l'), Key::kRedraw},
}};

KeyPress PressOf(int code) {
    if (code >= 0x20 && code < 0x7F) {
        return {Key::kCharacter, static_cast<char>(code)};
    }
    const auto* row = std::find_if(kKeys.begin(), kKeys.end(), [&](const KeyRow& known) { return known.code == code; });
    return {row == kKeys.end() ? Key::kOther : row->key};
}

attr_t AttributeOf(ScreenLine::Style style) {
    switch (style) {
        case ScreenLine::Style::kTitle:
            return A_REVERSE;
        case ScreenLine::Style::kGateway:
            return A_BOLD;
        case ScreenLine::Style::kPlain:
            break;
    }
    return A_NORMAL;
}

}  // namespace

Terminal::Terminal() {
    // Its own handler for this signal draws, on whichever thread the signal meets.
    static_cast<void>(std::signal(SIGTSTP, SIG_IGN));
    screen_ = newterm(nullptr, stdout, stdin);
    if (screen_ == nullptr) {
        throw std::runtime_error("the terminal cannot show a screen; try --plain");
    }
    set_escdelay(kEscapeMilliseconds);
    cbreak();
    noecho();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
}

Terminal::~Terminal() {
    endwin();
    delscreen(screen_);
}

ScreenSize Terminal::Size() {
    // The library looks by itself only when keys are read.
    struct winsize window = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_row > 0 && window.ws_col > 0 &&
        is_term_resized(window.ws_row, window.ws_col)) {
        resizeterm(window.ws_row, window.ws_col);
    }
    return {static_cast<std::size_t>(getmaxx(stdscr)), static_cast<std::size_t>(getmaxy(stdscr))};
}

void Terminal::Show(const Screen& content) {
    werase(stdscr);
    int row = 0;
    for (const ScreenLine& line : content.lines) {
        wattrset(stdscr, static_cast<int>(AttributeOf(line.style)));
        wmove(stdscr, row, 0);
        waddnstr(stdscr, line.text.c_str(), -1);
        ++row;
    }
    wmove(stdscr, row - 1, static_cast<int>(content.cursorColumn));
    wrefresh(stdscr);
}

void Terminal::Redraw() {
    clearok(curscr, TRUE);
}

std::optional<KeyPress> Terminal::ReadKey() {
    const int code = wgetch(stdscr);
    return code == ERR ? std::nullopt : std::make_optional(PressOf(code));
}

bool Terminal::IsGone() {
    pollfd input = {STDIN_FILENO, 0, 0};
    return poll(&input, 1, 0) > 0 && (input.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

}  // namespace Simulator
