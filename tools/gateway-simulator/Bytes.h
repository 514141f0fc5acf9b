#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Simulator {

using Bytes = std::vector<std::uint8_t>;

// Upper-case hexadecimal, two digits a byte, nothing between them.
std::string ToHex(const Bytes& bytes);

// The bytes of pairs of hexadecimal digits (either case), in the order of the text. Nothing for an empty text, an odd
// number of digits or any other character.
std::optional<Bytes> FromHex(std::string_view text);

}  // namespace Simulator
