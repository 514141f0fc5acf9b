#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Jose {

// The longest compact serialization that is read, in bytes.
constexpr std::size_t kLongestCompact = 16384;

// Why a signed text is refused. `what()` is a reason for people, such as "alg must be ES256".
class SignatureFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Checks the shape and the header of a JWS in compact serialization (RFC 7515) before anything else reads it, and
// returns the header's "kid", if it has one. Its header may have "alg", which must be ES256, "kid" and "typ", each
// once: so no header names another algorithm, brings its own key, or requires an extension, and no two parsers read it
// differently. Throws SignatureFault. Any thread.
std::optional<std::string> CheckCompact(std::string_view compact);

}  // namespace Jose
