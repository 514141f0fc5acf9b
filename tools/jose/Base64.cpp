#include "tools/jose/Base64.h"

#include <cstdint>

namespace Jose {
namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
constexpr unsigned kDigitBits = 6;
constexpr unsigned kByteBits = 8;

}  // namespace

std::optional<std::string> FromBase64Url(std::string_view text) {
    std::string bytes;
    std::uint32_t bits = 0;
    unsigned count = 0;
    for (const char digit : text) {
        const std::size_t value = kDigits.find(digit);
        if (value == std::string_view::npos) {
            return std::nullopt;
        }
        bits = bits << kDigitBits | static_cast<std::uint32_t>(value);
        count += kDigitBits;
        if (count >= kByteBits) {
            count -= kByteBits;
            bytes.push_back(static_cast<char>(bits >> count & 0xFFU));
        }
        bits &= (1U << count) - 1;
    }
    // Bits beyond the last byte would give it several texts; a single digit holds no byte.
    const bool isWhole = bits == 0 && count < kDigitBits;
    return isWhole ? std::optional(bytes) : std::nullopt;
}

}  // namespace Jose
