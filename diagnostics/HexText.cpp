#include "diagnostics/HexText.h"

namespace Diagnostics {

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
