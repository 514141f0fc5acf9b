#pragma once

#include <string>

namespace Muxctl {

// Where and why the Mux's parser takes a text for no JSON, as in "is no JSON: line 3, column 14: Missing a comma or }
// after an object member.". A number that is too large for it has no place. `text` must be one that it does not take.
std::string JsonFaultText(const std::string& text);

}  // namespace Muxctl
