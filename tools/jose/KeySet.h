#pragma once

#include <map>
#include <string>
#include <string_view>

#include "tools/jose/VerificationKey.h"

namespace Jose {

// A text with a valid signature of the key `kid`.
struct SignedText {
    std::string kid;
    std::string payload;
};

// The public keys of those who may sign: a JWK Set (RFC 7517), in which each key has a "kid" of its own. A value that
// does not change; any thread.
class KeySet {
  public:
    // Reads the text of a file with this name. Throws Tools::InputError with the place of what cannot be used.
    static KeySet FromText(const std::string& file, const std::string& text);

    // The identifier of the key that the header names, before anything is known of the signature: so that a text of
    // another key than the expected one costs no check. Throws SignatureFault as Verify() does for the header.
    std::string KidOf(std::string_view compact) const;

    // Throws SignatureFault if this is not a JWS in compact serialization whose header names one of the keys and which
    // that key signed.
    SignedText Verify(std::string_view compact) const;

    // By their identifiers.
    const std::map<std::string, VerificationKey>& Keys() const { return keys_; }

  private:
    void Add(const Tools::JsonNode& jwk);

    std::map<std::string, VerificationKey> keys_;
};

}  // namespace Jose
