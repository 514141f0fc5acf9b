#include "tools/client/Packet.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace MuxClient {
namespace {

using std::string_literals::operator""s;

struct PacketRow {
    std::string text;
    // The whole length, low byte first, and four characters.
    std::string header;
};

TEST(PacketTest, HasItsLengthBeforeTheText) {
    const std::vector<PacketRow> rows = {
        {"", "\x06\x00MUXM"s},
        {"{}", "\x08\x00MUXM"s},
        {"a\0\xC3\xA9"s, "\x0A\x00MUXM"s},
        {std::string(300, 'x'), "\x32\x01MUXM"s},
        {std::string(65529, 'x'), "\xFF\xFFMUXM"s},
    };
    for (const PacketRow& row : rows) {
        EXPECT_EQ(BuildPacket(row.text), row.header + row.text);
    }
}

TEST(PacketTest, HoldsNoMoreThan65529Bytes) {
    EXPECT_THROW(BuildPacket(std::string(65530, 'x')), std::length_error);
}

}  // namespace
}  // namespace MuxClient
