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

    // Writes whole lines, flushed at once.
    void PrintLine(const std::string& line) const { output << line << std::endl; }
    void Complain(const std::string& text) const { error << "muxctl: " << Printable(text) << std::endl; }
};

}  // namespace Muxctl
