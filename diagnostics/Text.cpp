#include "diagnostics/Text.h"

#include <array>
#include <cstring>

namespace Diagnostics {

std::string ErrorText(int errorNumber) {
    std::array<char, 128> buffer{};
    const std::string text = strerror_r(errorNumber, buffer.data(), buffer.size());
    return text.empty() ? "(null)" : text;
}

std::string BytesToHex(const std::vector<unsigned char>& bytes, const char* separator) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const unsigned char byte : bytes) {
        if (!text.empty()) {
            text += separator;
        }
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

}  // namespace Diagnostics
