#include "tools/jose/SigningKey.h"

#include <cjose/jws.h>

#include <stdexcept>

#include "tools/jose/CurveKey.h"
#include "tools/jose/PemKey.h"
#include "tools/json/InputError.h"

namespace Jose {
namespace {

using Jws = std::unique_ptr<cjose_jws_t, decltype(&cjose_jws_release)>;
using Header = std::unique_ptr<cjose_header_t, decltype(&cjose_header_release)>;

Header HeaderFor(const CurveKey& key) {
    Header header(cjose_header_new(nullptr), cjose_header_release);
    if (header == nullptr || !cjose_header_set(header.get(), CJOSE_HDR_ALG, CJOSE_HDR_ALG_ES256, nullptr) ||
        !cjose_header_set(header.get(), CJOSE_HDR_KID, key.kid.c_str(), nullptr)) {
        throw std::runtime_error("the header of a signature cannot be made");
    }
    return header;
}

Jws MakeJws(const CurveKey& key, const std::string& payload) {
    const Header header = HeaderFor(key);
    Jws jws(cjose_jws_sign(key.jwk.get(), header.get(), reinterpret_cast<const std::uint8_t*>(payload.data()),
                           payload.size(), nullptr),
            cjose_jws_release);
    if (jws == nullptr) {
        throw std::runtime_error("the key cannot sign");
    }
    return jws;
}

void CheckKid(const std::string& kid, const std::string& place) {
    const std::string fault = KidFault(kid);
    if (!fault.empty()) {
        throw Tools::InputError(place + fault);
    }
}

void SetKid(CurveKey& key, const std::string& kid) {
    CheckKid(kid, "the identifier of the key ");
    key.kid = kid;
    if (!cjose_jwk_set_kid(key.jwk.get(), kid.data(), kid.size(), nullptr)) {
        throw std::runtime_error("the key cannot be given an identifier");
    }
}

CurveKey KeyOfPem(const std::string& file, const std::string& text, const std::string& kid) {
    const std::optional<CurveNumbers> numbers = ReadPem(text);
    if (!numbers) {
        throw Tools::InputError(file + ": has no private key of the curve P-256 without a password");
    }
    CheckKid(kid, file + ": is PEM without an identifier of the key, which ");
    return MakeKey(*numbers, kid);
}

CurveKey KeyOfJwk(const std::string& file, const std::string& text, const std::string& kid) {
    CurveKey key;
    Tools::ReadJson(file, text, [&](const Tools::JsonNode& jwk) {
        jwk.Required("d");
        key = ReadKey(jwk);
        if (!kid.empty()) {
            SetKid(key, kid);
        } else if (key.kid.empty()) {
            jwk.Required("kid");
        }
    });
    return key;
}

}  // namespace

SigningKey::SigningKey(CurveKey key) : key_(std::make_shared<CurveKey>(std::move(key))) {}

SigningKey SigningKey::New(const std::string& kid) {
    CurveKey key = {{cjose_jwk_create_EC_random(CJOSE_JWK_EC_P_256, nullptr), cjose_jwk_release}, ""};
    if (key.jwk == nullptr) {
        throw std::runtime_error("no key can be made");
    }
    SetKid(key, kid);
    return SigningKey(key);
}

SigningKey SigningKey::FromText(const std::string& file, const std::string& text, const std::string& kid) {
    return SigningKey(IsPem(text) ? KeyOfPem(file, text, kid) : KeyOfJwk(file, text, kid));
}

const std::string& SigningKey::Kid() const {
    return key_->kid;
}

std::string SigningKey::Sign(const std::string& payload) const {
    const Jws jws = MakeJws(*key_, payload);
    const char* compact = nullptr;
    if (!cjose_jws_export(jws.get(), &compact, nullptr)) {
        throw std::runtime_error("the signature cannot be written");
    }
    return compact;
}

std::string SigningKey::PrivateJwk() const {
    return JwkText(*key_, true);
}

std::string SigningKey::PublicJwk() const {
    return JwkText(*key_, false);
}

}  // namespace Jose
