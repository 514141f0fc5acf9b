#pragma once

#include <ostream>
#include <string>

#include "tools/muxctl/Style.h"

namespace Muxctl {

// Output of the program: results to `output`, messages to `error`. The streams must outlive it.
struct Console {
    std::ostream& output;
    std::ostream& error;
    // For `output`.
    Style style;
    // Whether `error` is a terminal on which a line can be drawn over.
    bool hasIndicator = false;
    // Whether `output` is the systemd journal.
    bool isJournal = false;

    // Write results, flushed at once. They throw std::system_error when that is not possible: a script must not take
    // an empty file for a result.
    void Print(const std::string& text) const;
    void PrintLine(const std::string& line) const { Print(line + "\n"); }
    // Writes one message line, prefixed with the program's name.
    void Complain(const std::string& text) const { error << "muxctl: " << Printable(text) << std::endl; }
};

}  // namespace Muxctl
