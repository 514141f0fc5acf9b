#pragma once

#include <string>

namespace Muxctl {

// Where and why a text is no JSON, as in "is no JSON: line 3, column 14: Missing a comma or } after an object member.".
// `text` must not be JSON.
std::string JsonFaultText(const std::string& text);

}  // namespace Muxctl
