#include "mux/messages/CardData.h"

#include "diagnostics/Text.h"

namespace Mux {
namespace {

int NybbleOf(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    return 0;
}

}  // namespace

std::vector<unsigned char> CardDataFromText(const std::string& text) {
    std::vector<unsigned char> bytes;
    bytes.reserve((text.size() + 1) / 2);
    for (auto digit = text.rbegin(); digit != text.rend(); ++digit) {
        const int low = NybbleOf(*digit);
        const bool firstOfAnOddText = digit + 1 == text.rend();
        const int high = firstOfAnOddText ? 0 : NybbleOf(*++digit);
        bytes.push_back(static_cast<unsigned char>(high * 16 + low));
    }
    return bytes;
}

std::string CardDataToText(const std::vector<unsigned char>& bytes) {
    return Diagnostics::BytesToHex({bytes.rbegin(), bytes.rend()}, "");
}

}  // namespace Mux
