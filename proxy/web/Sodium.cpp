#include "proxy/web/Sodium.h"

#include <sodium.h>

#include <stdexcept>

namespace MuxProxy {

void PrepareSodium() {
    if (sodium_init() < 0) {
        throw std::runtime_error("there are no random numbers on this host");
    }
}

std::string RandomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    randombytes_buf(bytes.data(), bytes.size());
    return bytes;
}

std::string Base64Url(const std::string& bytes) {
    constexpr int kVariant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
    std::string text(sodium_base64_encoded_len(bytes.size(), kVariant), '\0');
    sodium_bin2base64(text.data(), text.size(), reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                      kVariant);
    // Without the zero at its end.
    text.pop_back();
    return text;
}

bool IsSameSecret(const std::string& one, const std::string& other) {
    return one.size() == other.size() && sodium_memcmp(one.data(), other.data(), one.size()) == 0;
}

}  // namespace MuxProxy
