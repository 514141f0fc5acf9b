// The frames were laid out by hand and their checksums computed with Python: binascii.crc_hqx(frame, 0).

#include "tools/gateway-simulator/EventSource.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/Hex.h"
#include "tools/gateway-simulator/FrameCodec.h"

namespace Simulator {
namespace {

using Testing::ToHex;

TEST(EventSourceTest, MakesACardEvent) {
    EventSource events;
    EXPECT_EQ(ToHex(EncodeFrame(events.Card(5, {0x04, 0xA1, 0xB2, 0xC3}, 14))),
              "1F FE FD 1A 01 00 00 00 00 00 00 01 00 00 00 05 0E 00 00 00 00 00 00 00 04 04 A1 B2 C3 AB 10");
}

TEST(EventSourceTest, MakesAPinEventOfAsciiDigits) {
    EventSource events;
    EXPECT_EQ(ToHex(EncodeFrame(events.Pin(5, "1234"))),
              "1F FE FD 1A 01 00 00 00 00 00 00 01 00 00 00 05 16 00 00 00 00 00 00 00 04 31 32 33 34 B0 6A");
}

TEST(EventSourceTest, MakesACardEventOfAnotherTypeWithItsHeaderAndEventBytes) {
    EventSource events;
    events.SetDetails({0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10});
    EXPECT_EQ(ToHex(EncodeFrame(events.Card(0x01020304, {0x7F}, 18))),
              "1C FE FD 17 01 00 00 00 00 00 00 01 01 02 03 04 12 0A 0B 0C 0D 0E 0F 10 01 7F 9E 10");
}

TEST(EventSourceTest, MakesAnEventWithoutData) {
    EventSource events;
    EXPECT_EQ(ToHex(EncodeFrame(events.Card(5, {}, 14))),
              "1B FE FD 16 01 00 00 00 00 00 00 01 00 00 00 05 0E 00 00 00 00 00 00 00 00 14 42");
}

TEST(EventSourceTest, CountsItsEvents) {
    EventSource events;
    events.Card(5, {1}, 14);
    EXPECT_EQ(events.Pin(5, "1").sequenceCounter, 2U);
    EXPECT_EQ(events.Card(6, {1}, 14).sequenceCounter, 3U);
}

TEST(EventSourceTest, RefusesDataTooLongForAFrame) {
    EventSource events;
    EXPECT_EQ(EncodeFrame(events.Card(5, Bytes(228), 14)).size(), 255U);
    EXPECT_THROW(events.Card(5, Bytes(229), 14), std::length_error);
}

}  // namespace
}  // namespace Simulator
