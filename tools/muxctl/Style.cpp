#include "tools/muxctl/Style.h"

#include <algorithm>

namespace Muxctl {
namespace {

const char* CodeOf(Colour colour) {
    switch (colour) {
        case Colour::kRed:
            return "31";
        case Colour::kGreen:
            return "32";
        case Colour::kYellow:
            return "33";
        case Colour::kCyan:
            break;
    }
    return "36";
}

bool IsControl(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7F;
}

}  // namespace

std::string Style::Paint(Colour colour, const std::string& text) const {
    return isColoured_ ? std::string("\033[1;") + CodeOf(colour) + "m" + text + "\033[0m" : text;
}

std::string Printable(const std::string& text) {
    std::string printable = text;
    std::replace_if(printable.begin(), printable.end(), IsControl, '?');
    return printable;
}

}  // namespace Muxctl
