#pragma once

#include <optional>
#include <string>

#include "diagnostics/LineTarget.h"

namespace Diagnostics {

// What a name for the log file leads to.
struct LogFile {
    int error = 0;                     // the error number when it cannot be written
    std::string path;                  // without a link at its end
    std::optional<LineTarget> device;  // a pipe or a device; otherwise it is a regular file
};

// Opens the log file without blocking, or makes it if there is none. A link is followed now, once and for all, so that
// what is done to the file later is not done to the link. A pipe or a device stays open: a reader that has seen the end
// of a pipe may not wait for another writer. A pipe that nobody reads yet is no failure.
LogFile OpenLogFile(const std::string& name);

}  // namespace Diagnostics
