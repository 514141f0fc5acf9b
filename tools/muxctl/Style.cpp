#include "tools/muxctl/Style.h"

#include <algorithm>

namespace Muxctl {
namespace {

bool IsControl(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7F;
}

}  // namespace

std::string Style::Paint(Colour colour, const std::string& text) const {
    return isColoured_ ? "\033[1;" + std::to_string(static_cast<int>(colour)) + "m" + text + "\033[0m" : text;
}

std::string Printable(const std::string& text) {
    std::string printable = text;
    std::replace_if(printable.begin(), printable.end(), IsControl, '?');
    return printable;
}

}  // namespace Muxctl
