#pragma once

#include <memory>
#include <string>
#include <vector>

namespace Testing {

using Bytes = std::vector<unsigned char>;

// Reads bytes from hexadecimal digits with blanks between the bytes: "13 FE FD".
Bytes FromHex(const std::string& text);

// `frame` with the byte at `offset` replaced.
Bytes WithByte(Bytes frame, std::size_t offset, unsigned char value);

// `frame` cut off after its first `length` bytes.
Bytes CutTo(const Bytes& frame, std::size_t length);

// The serialised form of a message or payload, owned.
template <typename Serializable>
Bytes Serialized(Serializable& serializable) {
    const std::unique_ptr<Bytes> bytes(serializable.Serialize());
    return *bytes;
}

}  // namespace Testing
