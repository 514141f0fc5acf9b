#include "tools/jose/VerificationKey.h"

#include <cjose/jws.h>

#include "tools/jose/Compact.h"
#include "tools/jose/CurveKey.h"

namespace Jose {

VerificationKey::VerificationKey(const Tools::JsonNode& jwk) : key_(std::make_shared<CurveKey>(ReadKey(jwk))) {
    if (jwk.Member("d")) {
        jwk.Refuse("is a private key; only public keys belong here");
    }
}

const std::string& VerificationKey::Kid() const {
    return key_->kid;
}

std::string VerificationKey::PayloadOf(std::string_view compact) const {
    CheckCompact(compact);
    const std::unique_ptr<cjose_jws_t, decltype(&cjose_jws_release)> jws(
        cjose_jws_import(compact.data(), compact.size(), nullptr), cjose_jws_release);
    if (jws == nullptr || !cjose_jws_verify(jws.get(), key_->jwk.get(), nullptr)) {
        throw SignatureFault("its signature is wrong");
    }
    std::uint8_t* payload = nullptr;
    std::size_t size = 0;
    if (!cjose_jws_get_plaintext(jws.get(), &payload, &size, nullptr)) {
        throw SignatureFault("it has no payload");
    }
    return {payload, payload + size};
}

}  // namespace Jose
