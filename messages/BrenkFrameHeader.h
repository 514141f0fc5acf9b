#pragma once

#include <cstdint>
#include <vector>

namespace Brenk::Messages {

// The first 17 bytes of a gateway frame in decoded form (FrameLayout.h), integers in host order, fields in the
// order of the frame. A new header is all zeros.
struct BrenkFrameHeader {
    // Reads the header of `frame` as it stands, without judging it. Throws std::out_of_range when the frame is
    // shorter than a header.
    static BrenkFrameHeader Read(const std::vector<unsigned char>& frame);

    // Appends the header's 17 bytes to `frame`.
    void AppendTo(std::vector<unsigned char>& frame) const;

    std::uint8_t totalLength = 0;
    std::uint8_t magic1 = 0;
    std::uint8_t magic2 = 0;
    std::uint8_t remainingLength = 0;
    std::uint8_t headerVersion = 0;
    std::uint8_t reserved1 = 0;
    std::uint8_t reserved2 = 0;
    std::uint8_t referenceID = 0;
    std::uint32_t sequenceCounter = 0;
    std::uint32_t deviceAddress = 0;
    std::uint8_t payloadType = 0;
};

}  // namespace Brenk::Messages
