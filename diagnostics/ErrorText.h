#pragma once

#include <string>

namespace Diagnostics {

// The system's text for an error number, "(null)" when it has none. Any thread.
std::string ErrorText(int errorNumber);

}  // namespace Diagnostics
