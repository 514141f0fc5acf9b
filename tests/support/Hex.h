#pragma once

#include <string>

#include "tests/support/LoopbackSocket.h"

namespace Testing {

using Bytes = LoopbackSocket::Bytes;

// "0A ff" as bytes; blanks do not count.
Bytes FromHex(const std::string& text);

// Bytes as "0A FF".
std::string ToHex(const Bytes& bytes);

}  // namespace Testing
