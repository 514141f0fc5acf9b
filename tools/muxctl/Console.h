#pragma once

#include <ostream>
#include <string>

#include "tools/muxctl/Style.h"

namespace Muxctl {

// Where the program writes: results to `output`, what people should know beside to `error`. The streams must remain
// live as long as it.
struct Console {
    std::ostream& output;
    std::ostream& error;
    // For `output`.
    Style style;
    // Whether `error` is a terminal on which a line can be drawn over.
    bool hasIndicator = false;

    // Write results, flushed at once. They throw std::system_error when that is not possible: a script must not take
    // an empty file for a result.
    void Print(const std::string& text) const;
    void PrintLine(const std::string& line) const { Print(line + "\n"); }
    // Writes one line about what people should know, behind the program's name.
    void Complain(const std::string& text) const { error << "muxctl: " << Printable(text) << std::endl; }
};

}  // namespace Muxctl
