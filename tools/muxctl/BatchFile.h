#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/muxctl/Options.h"
#include "tools/muxctl/RequestStep.h"

namespace Muxctl {

struct Batch {
    std::vector<RequestStep> steps;
    // One for each line that is wrong: "doors.txt:3: ...".
    std::vector<std::string> faults;
};

// Reads the text of a batch: one request per line, as on the command line, without global options. Words in quotes,
// single or double, may contain blanks; # at the beginning of a word begins a comment. Any thread.
Batch ReadBatch(const std::string& file, const std::string& text, const Options& common);

}  // namespace Muxctl
