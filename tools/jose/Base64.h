#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Jose {

// The bytes of a text in base64url without padding (RFC 7515, section 2). Nothing if it is not exactly that: each value
// has one text. Any thread.
std::optional<std::string> FromBase64Url(std::string_view text);

}  // namespace Jose
