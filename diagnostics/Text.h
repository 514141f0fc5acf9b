#pragma once

#include <string>
#include <vector>

namespace Diagnostics {

// The system's text for an error number, "(null)" when it has none. Any thread.
std::string ErrorText(int errorNumber);

// Returns `bytes` as upper-case hexadecimal, two digits each, with `separator` between two bytes and none at the
// ends: "13 FE FD". No bytes give an empty text. `separator` must not be null. Any thread may call it.
std::string BytesToHex(const std::vector<unsigned char>& bytes, const char* separator = " ");

}  // namespace Diagnostics
