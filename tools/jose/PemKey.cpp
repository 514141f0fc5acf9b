#include "tools/jose/PemKey.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <array>
#include <memory>
#include <string_view>

namespace Jose {
namespace {

constexpr std::size_t kLongestCurveName = 64;

int NoPassword(char* /*buffer*/, int /*size*/, int /*isWriting*/, void* /*context*/) {
    return -1;
}

bool IsOfCurve(const EVP_PKEY* key) {
    std::array<char, kLongestCurveName> name = {};
    std::size_t length = 0;
    return EVP_PKEY_get_group_name(key, name.data(), name.size(), &length) == 1 &&
           std::string_view(name.data(), length) == "prime256v1";
}

// Empty if the key does not have it.
Number NumberOf(const EVP_PKEY* key, const char* name) {
    BIGNUM* read = nullptr;
    if (EVP_PKEY_get_bn_param(key, name, &read) != 1) {
        return {};
    }
    const std::unique_ptr<BIGNUM, decltype(&BN_clear_free)> value(read, BN_clear_free);
    Number bytes(kNumberBytes);
    return BN_bn2binpad(value.get(), bytes.data(), static_cast<int>(bytes.size())) < 0 ? Number() : bytes;
}

}  // namespace

bool IsPem(const std::string& text) {
    return text.find("-----BEGIN ") != std::string::npos;
}

std::optional<CurveNumbers> ReadPem(const std::string& text) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> source(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())),
                                                           BIO_free);
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(
        PEM_read_bio_PrivateKey(source.get(), nullptr, NoPassword, nullptr), EVP_PKEY_free);
    // Failures stay in the thread's queue of errors otherwise.
    ERR_clear_error();
    if (key == nullptr || !IsOfCurve(key.get())) {
        return std::nullopt;
    }
    return CurveNumbers{NumberOf(key.get(), OSSL_PKEY_PARAM_EC_PUB_X), NumberOf(key.get(), OSSL_PKEY_PARAM_EC_PUB_Y),
                        NumberOf(key.get(), OSSL_PKEY_PARAM_PRIV_KEY)};
}

}  // namespace Jose
