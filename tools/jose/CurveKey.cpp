#include "tools/jose/CurveKey.h"

#include <cjose/util.h>

#include <algorithm>
#include <stdexcept>

#include "json/Utf8.h"
#include "tools/jose/Base64.h"

namespace Jose {
namespace {

constexpr std::size_t kLongestKid = 64;

// One character that a name in a topic cannot have.
bool IsUnfit(char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 || code == 0x7F || character == '+' || character == '#' || character == '/';
}

void RequireText(const Tools::JsonNode& jwk, const char* name, const std::string& expected) {
    const Tools::JsonNode member = jwk.Required(name);
    if (member.Text() != expected) {
        member.Refuse("must be \"" + expected + "\"");
    }
}

void RequireTextIfAny(const Tools::JsonNode& jwk, const char* name, const std::string& expected) {
    if (jwk.Member(name)) {
        RequireText(jwk, name, expected);
    }
}

Number ReadNumber(const Tools::JsonNode& member) {
    const std::optional<std::string> bytes = FromBase64Url(member.Text());
    if (!bytes || bytes->size() != kNumberBytes) {
        member.Refuse("must be 32 bytes in base64url");
    }
    return {bytes->begin(), bytes->end()};
}

std::string ReadKid(const Tools::JsonNode& jwk) {
    const std::optional<Tools::JsonNode> member = jwk.Member("kid");
    if (!member) {
        return "";
    }
    const std::string fault = KidFault(member->Text());
    if (!fault.empty()) {
        member->Refuse(fault);
    }
    return member->Text();
}

// The library takes the public key that belongs to the private number, whatever the file has.
CurveKey WithPrivateNumber(const CurveKey& key, const CurveNumbers& numbers, const Tools::JsonNode& d) {
    CurveKey pair = MakeKey({numbers.x, numbers.y, ReadNumber(d)}, key.kid);
    if (JwkText(pair, false) != JwkText(key, false)) {
        d.Refuse("does not belong to \"x\" and \"y\"");
    }
    return pair;
}

}  // namespace

std::string KidFault(const std::string& kid) {
    const bool isFit = !kid.empty() && kid.size() <= kLongestKid && std::none_of(kid.begin(), kid.end(), IsUnfit) &&
                       Json::InUtf8(kid) == kid;
    return isFit ? "" : "must be 1 to 64 bytes of UTF-8 without control characters, \"+\", \"#\" and \"/\"";
}

CurveKey ReadKey(const Tools::JsonNode& jwk) {
    RequireText(jwk, "kty", "EC");
    RequireText(jwk, "crv", "P-256");
    RequireTextIfAny(jwk, "alg", "ES256");
    RequireTextIfAny(jwk, "use", "sig");
    const CurveNumbers numbers = {ReadNumber(jwk.Required("x")), ReadNumber(jwk.Required("y")), {}};
    try {
        const CurveKey key = MakeKey(numbers, ReadKid(jwk));
        const std::optional<Tools::JsonNode> d = jwk.Member("d");
        return d ? WithPrivateNumber(key, numbers, *d) : key;
    } catch (const std::invalid_argument& error) {
        jwk.Refuse(error.what());
    }
}

CurveKey MakeKey(const CurveNumbers& numbers, const std::string& kid) {
    CurveNumbers copy = numbers;
    cjose_jwk_ec_keyspec spec = {};
    spec.crv = CJOSE_JWK_EC_P_256;
    spec.x = copy.x.data();
    spec.xlen = copy.x.size();
    spec.y = copy.y.data();
    spec.ylen = copy.y.size();
    spec.d = copy.d.empty() ? nullptr : copy.d.data();
    spec.dlen = copy.d.size();
    CurveKey key = {{cjose_jwk_create_EC_spec(&spec, nullptr), cjose_jwk_release}, kid};
    if (key.jwk == nullptr) {
        throw std::invalid_argument("is not a key of the curve P-256");
    }
    if (!kid.empty() && !cjose_jwk_set_kid(key.jwk.get(), kid.data(), kid.size(), nullptr)) {
        throw std::runtime_error("a key cannot be given an identifier");
    }
    return key;
}

std::string JwkText(const CurveKey& key, bool isPrivate) {
    const std::unique_ptr<char, cjose_dealloc_fn_t> text(cjose_jwk_to_json(key.jwk.get(), isPrivate, nullptr),
                                                         cjose_get_dealloc());
    if (text == nullptr) {
        throw std::runtime_error("a key cannot be written");
    }
    return text.get();
}

}  // namespace Jose
