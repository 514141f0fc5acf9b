#pragma once

#include <string>

namespace Diagnostics {

// For a catch-all: the text of the exception being handled. The program's own exceptions are thrown as pointers to
// new objects; such an object is freed here. Call it once, inside the handler, on the thread that caught.
std::string TakeCaughtException();

}  // namespace Diagnostics
