#pragma once

#include <cstdint>
#include <string>

namespace Muxctl {

// Checks of option values. Each returns an empty text for a valid value, and otherwise the fault, to follow the
// option's name. Any thread may call them.

// A decimal integer from `lowest` to `highest`. There must be no zeros in front: some read 010 as ten and some as
// eight, and a lock that was opened by mistake stays open.
std::string CheckInteger(const std::string& text, std::int64_t lowest, std::int64_t highest);

// A TCP port, and the ID of a gateway or lock.
std::string CheckPort(const std::string& text);
std::string CheckId(const std::string& text);

// A decimal number from 0.001 to 86400.
std::string CheckSeconds(const std::string& text);

// Pairs of hexadecimal digits, for as many bytes as a whitelist request may have.
std::string CheckCard(const std::string& text);

}  // namespace Muxctl
