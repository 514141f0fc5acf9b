#include "tests/messages/WireBytes.h"

#include <ios>
#include <sstream>

namespace Testing {

Bytes FromHex(const std::string& text) {
    std::istringstream digits(text);
    Bytes bytes;
    for (unsigned int byte = 0; digits >> std::hex >> byte;) {
        bytes.push_back(static_cast<unsigned char>(byte));
    }
    return bytes;
}

Bytes WithByte(Bytes frame, std::size_t offset, unsigned char value) {
    frame.at(offset) = value;
    return frame;
}

Bytes CutTo(const Bytes& frame, std::size_t length) {
    return Bytes(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(length));
}

}  // namespace Testing
