#pragma once

#include <memory>
#include <string>

namespace Jose {

struct CurveKey;

// A private key of the curve P-256 with its identifier. A value that does not change; any thread.
class SigningKey {
  public:
    // A new one. Throws Tools::InputError if it cannot be an identifier.
    static SigningKey New(const std::string& kid);

    // Reads the text of a file with this name: a private JWK (RFC 7517), or a private key in PEM without a password.
    // `kid` replaces the identifier of a JWK if it is not empty, and is required for PEM. Throws Tools::InputError.
    static SigningKey FromText(const std::string& file, const std::string& text, const std::string& kid = "");

    const std::string& Kid() const;

    // The compact serialization of a JWS (RFC 7515) with ES256, whose header has the key's identifier. Throws
    // std::runtime_error if the library cannot sign.
    std::string Sign(const std::string& payload) const;

    // As JWK, in one line.
    std::string PrivateJwk() const;
    std::string PublicJwk() const;

  private:
    explicit SigningKey(CurveKey key);

    std::shared_ptr<const CurveKey> key_;
};

}  // namespace Jose
