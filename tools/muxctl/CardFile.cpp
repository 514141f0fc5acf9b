#include "tools/muxctl/CardFile.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include "tools/muxctl/CardCsv.h"
#include "tools/muxctl/CardJson.h"

namespace Muxctl {
namespace {

bool IsJson(const std::string& text) {
    const std::size_t start = text.find_first_not_of(" \t\r\n");
    return start != std::string::npos && text.at(start) == '{';
}

char UpperDigit(char digit) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(digit)));
}

}  // namespace

CardFile ReadCardFile(const std::string& file, const std::string& text, const CardDefaults& defaults) {
    return IsJson(text) ? ReadCardJson(file, text, defaults) : ReadCardCsv(file, text, defaults);
}

std::string BytesAtGateway(const MuxClient::Card& card) {
    std::string bytes;
    std::transform(card.data.begin(), card.data.end(), std::back_inserter(bytes), UpperDigit);
    return card.isUid ? std::string(2 * MuxClient::kLongestUid - bytes.size(), '0') + bytes : ReversedBytes(bytes);
}

std::string ReversedBytes(const std::string& hex) {
    std::string reversed;
    for (std::size_t end = hex.size(); end >= 2; end -= 2) {
        reversed += hex.substr(end - 2, 2);
    }
    return reversed;
}

}  // namespace Muxctl
