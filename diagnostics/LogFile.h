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

// Opens or creates the log file without blocking. A link is resolved once, so that later renames affect its target. A
// pipe or device stays open: a reader that has seen the end of a pipe may not wait for another writer. A pipe without a
// reader is not an error.
LogFile OpenLogFile(const std::string& name);

}  // namespace Diagnostics
