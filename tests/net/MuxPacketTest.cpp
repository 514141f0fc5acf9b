// Packets written out by hand: length (little-endian), "MUXM" (4D 55 58 4D), text.
#include "net/MuxPacket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "diagnostics/Tracer.h"
#include "tests/support/ChildProcess.h"

namespace Brenk::Net {
namespace {

using Bytes = std::vector<unsigned char>;

TEST(MuxPacket, ALengthOf10With8BytesIsAPacketWithItsText) {
    Bytes data = {0x0A, 0x00, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D};
    EXPECT_TRUE(MuxPacket::IsMuxPacket(data));
    const MuxPacket packet(data);
    EXPECT_EQ(packet.Length(), 10);
    EXPECT_EQ(packet.MessageText(), "{}");
}

TEST(MuxPacket, ALengthOf0IsNotAPacket) {
    Bytes data = {0x00, 0x00, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D};
    EXPECT_FALSE(MuxPacket::IsMuxPacket(data));
    const MuxPacket packet(data);
    EXPECT_EQ(packet.Length(), 0);
    EXPECT_EQ(packet.MessageText(), "");
}

TEST(MuxPacket, WrongMagicIsNotAPacket) {
    Bytes data = {0x0A, 0x00, 0x4D, 0x55, 0x58, 0x4E, 0x7B, 0x7D};
    EXPECT_FALSE(MuxPacket::IsMuxPacket(data));
    const MuxPacket packet(data);
    EXPECT_EQ(packet.Length(), 0);
    EXPECT_EQ(packet.MessageText(), "");
}

TEST(MuxPacket, EachByteOfTheMagicCounts) {
    for (std::size_t offset = 2; offset < 6; ++offset) {
        Bytes data = {0x08, 0x00, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D};
        data.at(offset) ^= 0x20;  // also another case is another magic
        EXPECT_FALSE(MuxPacket::IsMuxPacket(data)) << "at " << offset;
    }
}

TEST(MuxPacket, ATextWithAnEmbeddedNulIsCutAtIt) {
    Bytes data = {0x0A, 0x00, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D, 0x00, 0x7B};
    EXPECT_EQ(MuxPacket(data).MessageText(), "{}");
}

TEST(MuxPacket, TheLengthIsLittleEndian) {
    Bytes data = {0x34, 0x12, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D};
    EXPECT_EQ(MuxPacket(data).Length(), 0x1234);
    data.at(0) = 0x00;
    EXPECT_TRUE(MuxPacket::IsMuxPacket(data)) << "only one of the two bytes is 0";
    EXPECT_EQ(MuxPacket(data).Length(), 0x1200);
}

TEST(MuxPacket, TheLengthDoesNotBoundTheText) {
    Bytes data = {0x07, 0x00, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D, 0x7B, 0x7D};
    const MuxPacket packet(data);
    EXPECT_EQ(packet.Length(), 7);
    EXPECT_EQ(packet.MessageText(), "{}{}");
}

TEST(MuxPacket, APacketMayHaveNoText) {
    Bytes data = {0x06, 0x00, 0x4D, 0x55, 0x58, 0x4D};
    EXPECT_TRUE(MuxPacket::IsMuxPacket(data));
    EXPECT_EQ(MuxPacket(data).Length(), 6);
    EXPECT_EQ(MuxPacket(data).MessageText(), "");
}

TEST(MuxPacket, FewerThan6BytesAreOutOfRange) {
    const Bytes whole = {0x08, 0x00, 0x4D, 0x55, 0x58, 0x4D};
    for (std::size_t size = 0; size < whole.size(); ++size) {
        Bytes data(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_THROW(MuxPacket::IsMuxPacket(data), std::out_of_range) << size << " bytes";
        EXPECT_THROW(MuxPacket{data}, std::out_of_range) << size << " bytes";
    }
}

TEST(MuxPacket, TheDataIsLeftAsItIs) {
    Bytes data = {0x0A, 0x00, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D};
    const Bytes before = data;
    const MuxPacket packet(data);
    EXPECT_EQ(data, before);
}

TEST(MuxPacket, APacketIsInformationAndWhatIsNoneIsAWarningOfTheTracer) {
    using Diagnostics::Tracer;
    const auto traced = [](Tracer::Level shown) {
        const Testing::ChildResult result = Testing::RunInChild(".", [shown] {
            Tracer::Enable(static_cast<std::uint8_t>(shown));
            Bytes packet = {0x06, 0x00, 0x4D, 0x55, 0x58, 0x4D};
            Bytes other = {0x06, 0x00, 0x4D, 0x55, 0x58, 0x4E};
            MuxPacket::IsMuxPacket(packet);
            MuxPacket::IsMuxPacket(other);
        });
        return result.output;
    };
    EXPECT_EQ(traced(Tracer::Level::kInformation), "[MuxPacket::IsMuxPacket] Data is a MUX packet.\n");
    EXPECT_EQ(traced(Tracer::Level::kWarning), "[MuxPacket::IsMuxPacket] Data is NOT a MUX packet.\n");
}

TEST(MuxPacket, UnwrappingAsksOnce) {
    const Testing::ChildResult result = Testing::RunInChild(".", [] {
        Diagnostics::Tracer::Enable(Diagnostics::Tracer::kDebugCategories);
        Bytes data = {0x06, 0x00, 0x4D, 0x55, 0x58, 0x4D};
        const MuxPacket packet(data);
        data.at(0) = 0x00;
        const MuxPacket other(data);
    });
    EXPECT_EQ(result.output,
              "[MuxPacket::IsMuxPacket] Data is a MUX packet.\n[MuxPacket::IsMuxPacket] Data is NOT a MUX packet.\n");
}

TEST(MuxPacket, TheVerdictGoesToTheTracer) {
    const Testing::ChildResult result = Testing::RunInChild(".", [] {
        Diagnostics::Tracer::Enable(Diagnostics::Tracer::kDebugCategories);
        Bytes data = {0x06, 0x00, 0x4D, 0x55, 0x58, 0x4D};
        MuxPacket::IsMuxPacket(data);
        data.at(0) = 0x00;
        MuxPacket::IsMuxPacket(data);
    });
    EXPECT_EQ(result.output,
              "[MuxPacket::IsMuxPacket] Data is a MUX packet.\n[MuxPacket::IsMuxPacket] Data is NOT a MUX packet.\n");
}

}  // namespace
}  // namespace Brenk::Net
