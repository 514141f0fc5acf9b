// How the bytes of a client become packets, and a packet a message: length (little-endian), "MUXM" (4D 55 58 4D), text.
#include <gtest/gtest.h>

#include <numeric>
#include <stdexcept>

#include "diagnostics/Tracer.h"
#include "net/MuxPacket.h"
#include "net/PacketCutter.h"
#include "tests/support/ChildProcess.h"

namespace Brenk::Net {
namespace {

using Bytes = std::vector<unsigned char>;
using Packets = std::vector<Bytes>;

Packets Feed(PacketCutter& cutter, const Bytes& bytes) {
    cutter.Append(bytes.data(), bytes.size());
    Packets packets;
    cutter.Cut(packets);
    return packets;
}

TEST(PacketCutter, CutsAStreamAtTheSamePlacesHoweverItsBytesCome) {
    const struct {
        const char* what;
        Bytes stream;
        Packets packets;
        int expectedSize;  // of the packet that is not complete
    } cases[] = {
        {"two packets", {3, 0, 0x41, 4, 0, 0x42, 0x43}, {{3, 0, 0x41}, {4, 0, 0x42, 0x43}}, 0},
        {"a packet without a text", {2, 0, 3, 0, 0x41}, {{2, 0}, {3, 0, 0x41}}, 0},
        {"an unfinished packet", {3, 0, 0x41, 5, 0, 0x42}, {{3, 0, 0x41}}, 5},
        {"half a length", {3, 0, 0x41, 3}, {{3, 0, 0x41}}, 0},
        {"a length of 1, whose second byte begins the next", {1, 0, 1, 0x42}, {{1}}, 0x0100},
        {"a length of 0, which stays for good", {0, 0, 3, 0, 0x41, 3, 0, 0x41}, {}, 0},
    };
    for (const auto& tested : cases) {
        for (std::size_t split = 0; split < tested.stream.size(); ++split) {
            PacketCutter cutter;
            const auto middle = tested.stream.begin() + static_cast<std::ptrdiff_t>(split);
            Packets packets = Feed(cutter, Bytes(tested.stream.begin(), middle));
            cutter.Append(&*middle, tested.stream.size() - split);
            cutter.Cut(packets);
            EXPECT_EQ(packets, tested.packets) << tested.what << ", split at " << split;
            EXPECT_EQ(cutter.ExpectedSize(), tested.expectedSize) << tested.what;
        }
    }
}

TEST(PacketCutter, CutsEveryLengthFrom2To65535WholeAndFindsTheNextPacket) {
    const Bytes next = {3, 0, 0x41};
    Bytes pattern(65535);
    std::iota(pattern.begin(), pattern.end(), static_cast<unsigned char>(0));
    for (std::size_t length = 2; length <= 65535; ++length) {
        Bytes packet(pattern.begin(), pattern.begin() + static_cast<std::ptrdiff_t>(length));
        packet.at(0) = static_cast<unsigned char>(length & 0xFF);
        packet.at(1) = static_cast<unsigned char>(length >> 8);
        PacketCutter cutter;
        cutter.Append(packet.data(), length);
        const Packets packets = Feed(cutter, next);
        ASSERT_EQ(packets, (Packets{packet, next})) << length;
    }
}

TEST(PacketCutter, GivesAStreamUpWhenMoreThan128KilobytesCanNeverBecomeAPacket) {
    PacketCutter unfinished;
    Feed(unfinished, {0xFF, 0xFF});
    Feed(unfinished, Bytes(65000, 0x00));
    EXPECT_FALSE(unfinished.IsUnrecoverable());
    PacketCutter stuck;
    Feed(stuck, Bytes(128UL * 1024, 0x00));
    EXPECT_FALSE(stuck.IsUnrecoverable());
    Feed(stuck, {0x00});
    EXPECT_TRUE(stuck.IsUnrecoverable());
}

TEST(MuxPacket, HasALengthTheMagicAndATextUpToItsFirstNul) {
    const struct {
        Bytes data;
        bool isPacket;
        int length;
        const char* text;
    } cases[] = {
        {{0x0A, 0x00, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D}, true, 10, "{}"},
        {{0x06, 0x00, 0x4D, 0x55, 0x58, 0x4D}, true, 6, ""},
        {{0x07, 0x00, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D, 0x7B, 0x7D}, true, 7, "{}{}"},
        {{0x34, 0x12, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D, 0x00, 0x7B}, true, 0x1234, "{}"},
        {{0x00, 0x12, 0x4D, 0x55, 0x58, 0x4D, 0x7B}, true, 0x1200, "{"},
        {{0x00, 0x00, 0x4D, 0x55, 0x58, 0x4D, 0x7B, 0x7D}, false, 0, ""},
        {{0x0A, 0x00, 0x6D, 0x55, 0x58, 0x4D, 0x7B, 0x7D}, false, 0, ""},
        {{0x0A, 0x00, 0x4D, 0x75, 0x58, 0x4D, 0x7B, 0x7D}, false, 0, ""},
        {{0x0A, 0x00, 0x4D, 0x55, 0x78, 0x4D, 0x7B, 0x7D}, false, 0, ""},
        {{0x0A, 0x00, 0x4D, 0x55, 0x58, 0x4E, 0x7B, 0x7D}, false, 0, ""},
    };
    for (const auto& tested : cases) {
        SCOPED_TRACE(testing::PrintToString(tested.data));
        Bytes data = tested.data;
        EXPECT_EQ(MuxPacket::IsMuxPacket(data), tested.isPacket);
        const MuxPacket packet(data);
        EXPECT_EQ(packet.Length(), tested.length);
        EXPECT_EQ(packet.MessageText(), tested.text);
        EXPECT_EQ(data, tested.data);
    }
}

TEST(MuxPacket, FewerThan6BytesAreOutOfRange) {
    const Bytes whole = {0x08, 0x00, 0x4D, 0x55, 0x58, 0x4D};
    for (std::size_t size = 0; size < whole.size(); ++size) {
        Bytes data(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_THROW(MuxPacket::IsMuxPacket(data), std::out_of_range) << size << " bytes";
        EXPECT_THROW(MuxPacket{data}, std::out_of_range) << size << " bytes";
    }
}

TEST(MuxPacket, ItsVerdictGoesToTheTracerOnceAsInformationOrAsAWarning) {
    using Diagnostics::Tracer;
    const auto traced = [](Tracer::Level shown) {
        const Testing::ChildResult result = Testing::RunInChild(".", [shown] {
            Tracer::Enable(static_cast<std::uint8_t>(shown));
            Bytes packet = {0x06, 0x00, 0x4D, 0x55, 0x58, 0x4D};
            Bytes other = {0x06, 0x00, 0x4D, 0x55, 0x58, 0x4E};
            MuxPacket::IsMuxPacket(other);
            const MuxPacket unwrapped(packet);
        });
        return result.output;
    };
    EXPECT_EQ(traced(Tracer::Level::kInformation), "[MuxPacket::IsMuxPacket] Data is a MUX packet.\n");
    EXPECT_EQ(traced(Tracer::Level::kWarning), "[MuxPacket::IsMuxPacket] Data is NOT a MUX packet.\n");
}

}  // namespace
}  // namespace Brenk::Net
