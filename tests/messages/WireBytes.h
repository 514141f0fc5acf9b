#pragma once

#include <memory>

#include "tests/support/Hex.h"

namespace Testing {

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
