#pragma once

#include <cjose/jwk.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/json/JsonFile.h"

// Keys as the JOSE library holds them; for the sources of this folder only. Any thread may call the functions.
namespace Jose {

// Of each number of a key of the curve P-256.
constexpr std::size_t kNumberBytes = 32;

// Big-endian bytes.
using Number = std::vector<std::uint8_t>;

struct CurveNumbers {
    Number x;
    Number y;
    // The private number; empty in a public key.
    Number d;
};

struct CurveKey {
    std::shared_ptr<cjose_jwk_t> jwk;
    // Empty if it has none.
    std::string kid;
};

// Reads a JWK (RFC 7517). Members that are not understood are ignored, as it requires. Throws Tools::InputError with
// the place of a member that cannot be used.
CurveKey ReadKey(const Tools::JsonNode& jwk);

// Throws std::invalid_argument if there is no such key, such as a point that is not on the curve.
CurveKey MakeKey(const CurveNumbers& numbers, const std::string& kid);

// As JWK, in one line. Throws std::runtime_error if the library cannot write it.
std::string JwkText(const CurveKey& key, bool isPrivate);

// What is wrong with a key identifier, to follow its name; empty if nothing is.
std::string KidFault(const std::string& kid);

}  // namespace Jose
