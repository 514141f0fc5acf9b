#include "tests/messages/WireBytes.h"

namespace Testing {

Bytes WithByte(Bytes frame, std::size_t offset, unsigned char value) {
    frame.at(offset) = value;
    return frame;
}

Bytes CutTo(const Bytes& frame, std::size_t length) {
    return Bytes(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(length));
}

}  // namespace Testing
