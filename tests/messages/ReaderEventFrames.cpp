#include "tests/messages/ReaderEventFrames.h"

#include <gtest/gtest.h>

#include <array>

// Frames written by hand from the frame layout; their CRC by python3, binascii.crc_hqx(data, 0).

namespace Testing {

using Brenk::Messages::BrenkReaderEventPayload;

Bytes CardFrame() {
    return FromHex("1F FE FD 1A 01 00 00 05 00 00 01 00 00 00 01 02 0E 01 02 03 04 A5 B6 C7 04 04 A1 B2 C3 F4 CC");
}

Bytes PinFrame() {
    return FromHex("1F FE FD 1A 01 00 00 05 00 00 01 00 00 00 01 02 16 01 02 03 04 A5 B6 C7 04 01 02 03 04 35 3C");
}

void ExpectEventFields(const BrenkReaderEventPayload& payload) {
    EXPECT_EQ(payload.EventHeader(), (std::array<std::uint8_t, 4>{0x01, 0x02, 0x03, 0x04}));
    EXPECT_EQ(payload.EventBytes(), (std::array<std::uint8_t, 3>{0xA5, 0xB6, 0xC7}));
}

void ExpectNothing(const BrenkReaderEventPayload& payload) {
    EXPECT_EQ(payload.EventHeader(), (std::array<std::uint8_t, 4>{}));
    EXPECT_EQ(payload.EventBytes(), (std::array<std::uint8_t, 3>{}));
    EXPECT_TRUE(payload.Data().empty());
}

}  // namespace Testing
