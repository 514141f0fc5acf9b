#pragma once

#include <string>

namespace Json {

// Where and why Parse refuses a text, such as "is not JSON: line 3, column 14: Missing a colon after a name of object
// member.". A number that is too large has no position. `text` must be one that Parse refuses. Keeps no state; any
// thread may call it.
std::string FaultText(const std::string& text);

}  // namespace Json
