#include "tests/tools/PseudoTerminal.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <fstream>

namespace Testing {
namespace {

ProcessSetup SetupFor(const std::string& kind) {
    ProcessSetup setup;
    setup.variables = {{"TERM", kind}, {"LC_ALL", "C.UTF-8"}};
    setup.input = std::nullopt;
    setup.console = Console::kTerminal;
    setup.mergesError = true;
    setup.rows = PseudoTerminal::kRows;
    setup.columns = PseudoTerminal::kColumns;
    return setup;
}

}  // namespace

PseudoTerminal::PseudoTerminal(const std::vector<std::string>& command, const std::string& kind)
    : Process(command, SetupFor(kind)) {}

void PseudoTerminal::Resize(unsigned short rows, unsigned short columns) const {
    const winsize window = {rows, columns, 0, 0};
    ioctl(Terminal(), TIOCSWINSZ, &window);
}

bool PseudoTerminal::IsInLineMode() const {
    termios modes = {};
    return tcgetattr(Terminal(), &modes) == 0 && (modes.c_lflag & ICANON) != 0 && (modes.c_lflag & ECHO) != 0;
}

bool PseudoTerminal::IsNonBlocking() const {
    std::ifstream file("/proc/" + std::to_string(Id()) + "/fdinfo/0");
    std::string word;
    while (file >> word && word != "flags:") {
    }
    unsigned int flags = O_NONBLOCK;
    file >> std::oct >> flags;
    return (flags & O_NONBLOCK) != 0;
}

void PseudoTerminal::SignalUntilItEnds(int number) {
    const auto end = std::chrono::steady_clock::now() + kProcessDeadline;
    while (IsRunning() && std::chrono::steady_clock::now() < end) {
        Signal(number);
    }
    WaitForEnd();
}

}  // namespace Testing
