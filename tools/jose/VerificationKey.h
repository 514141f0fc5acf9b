#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tools/json/JsonFile.h"

namespace Jose {

struct CurveKey;

// A public key of the curve P-256. A value that does not change; any thread.
class VerificationKey {
  public:
    // Throws Tools::InputError, also for a private key.
    explicit VerificationKey(const Tools::JsonNode& jwk);

    // Empty if the key has none.
    const std::string& Kid() const;

    // The payload that the key's owner signed. Throws SignatureFault if this is not a JWS of this key; see
    // CheckCompact(). Whether the header names the key is for the caller.
    std::string PayloadOf(std::string_view compact) const;

  private:
    std::shared_ptr<const CurveKey> key_;
};

}  // namespace Jose
