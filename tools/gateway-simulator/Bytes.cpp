#include "tools/gateway-simulator/Bytes.h"

#include <charconv>

namespace Simulator {

std::string ToHex(const Bytes& bytes) {
    static constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits.at(byte >> 4U);
        text += kDigits.at(byte & 0x0FU);
    }
    return text;
}

std::optional<Bytes> FromHex(std::string_view text) {
    if (text.empty() || text.size() % 2 != 0) {
        return std::nullopt;
    }
    Bytes bytes;
    for (; !text.empty(); text.remove_prefix(2)) {
        std::uint8_t byte = 0;
        const char* end = text.data() + 2;
        const std::from_chars_result result = std::from_chars(text.data(), end, byte, 16);
        if (result.ec != std::errc() || result.ptr != end) {
            return std::nullopt;
        }
        bytes.push_back(byte);
    }
    return bytes;
}

}  // namespace Simulator
