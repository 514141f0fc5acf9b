#pragma once

#include <string>

namespace Documents {

// The whole text of a file below docs/. Throws std::runtime_error when it cannot be read.
std::string ReadDocument(const std::string& path);

}  // namespace Documents
