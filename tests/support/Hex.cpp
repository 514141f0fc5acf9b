#include "tests/support/Hex.h"

#include <algorithm>
#include <iterator>

namespace Testing {

Bytes FromHex(const std::string& text) {
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits), [](char c) { return c != ' '; });
    Bytes bytes;
    for (std::size_t index = 0; index + 1 < digits.size(); index += 2) {
        bytes.push_back(static_cast<unsigned char>(std::stoul(digits.substr(index, 2), nullptr, 16)));
    }
    return bytes;
}

std::string ToHex(const Bytes& bytes) {
    static const std::string kDigits = "0123456789ABCDEF";
    std::string text;
    for (const unsigned char byte : bytes) {
        text += text.empty() ? "" : " ";
        text += kDigits.at(byte / 16U);
        text += kDigits.at(byte % 16U);
    }
    return text;
}

}  // namespace Testing
