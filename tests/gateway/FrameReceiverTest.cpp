#include "gateway/FrameReceiver.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>

#include "tests/messages/WireBytes.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FakeGateway.h"

namespace Testing {
namespace {

// A frame written by hand from the frame layout; its CRC by python3, binascii.crc_hqx(data, 0).
const Bytes kEventFrame =
    FromHex("1F FE FD 1A 01 00 00 00 00 00 00 00 00 01 00 05 0E A0 A1 A2 A3 B1 B2 B3 04 04 A1 B2 C3 A1 71");

constexpr const char* kMagicAtFirstIndexText =
    "Found a new BRENK packet magic number, but seems that's at an index position that isn't allowed.";
constexpr const char* kFetchedText = "Message fetched and translated. Erasing the array from the buffer.";

class FrameReceiverTest : public ::testing::Test {
  protected:
    void Receive(const Bytes& received) {
        EXPECT_TRUE(receiver_.ReceiveWith([&](Bytes& bytes) {
            bytes = received;
            return true;
        }));
    }

    // The command code of the next frame, -1 when there is none.
    int NextType() {
        const std::unique_ptr<Brenk::Messages::BrenkMessage> frame = receiver_.Next(&builder_);
        return frame == nullptr ? -1 : frame->PayloadType();
    }

    const CapturedLog log_;
    Brenk::Messages::BrenkMessageBuilder builder_{0, 1};
    Brenk::FrameReceiver receiver_;
};

TEST_F(FrameReceiverTest, AnEmptyBufferHasNoFrame) {
    EXPECT_EQ(NextType(), -1);
}

TEST_F(FrameReceiverTest, TakesAFrameAndSaysSoAtDebug) {
    Receive(kEventFrame);
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(log_.Count(plog::debug, kFetchedText), 1);
    EXPECT_EQ(NextType(), -1);
    EXPECT_EQ(log_.Count(plog::debug, kFetchedText), 1);
}

TEST_F(FrameReceiverTest, ABufferThatStartsWithTheMagicYieldsTheWarningAndNoFrameHoweverMuchFollows) {
    Receive({0xFE, 0xFD});
    EXPECT_EQ(NextType(), -1);
    EXPECT_EQ(log_.Count(plog::warning, kMagicAtFirstIndexText), 1);
    Receive(kEventFrame);
    Receive(kEventFrame);
    EXPECT_EQ(NextType(), -1);
    EXPECT_EQ(NextType(), -1);
    EXPECT_EQ(log_.Count(plog::warning, kMagicAtFirstIndexText), 3);
}

TEST_F(FrameReceiverTest, BytesWithoutAMagicWaitWithoutALine) {
    Receive({0x13, 0xFE, 0x00, 0xFD, 0xFE});
    EXPECT_EQ(NextType(), -1);
    EXPECT_FALSE(log_.Holds(plog::warning, "magic"));
}

TEST_F(FrameReceiverTest, AMagicSplitOverTwoChunksIsFound) {
    Receive(CutTo(kEventFrame, 2));
    EXPECT_EQ(NextType(), -1);
    Receive(Bytes(kEventFrame.begin() + 2, kEventFrame.end()));
    EXPECT_EQ(NextType(), 14);
}

TEST_F(FrameReceiverTest, JunkBytesBeforeAFrameStayInTheBufferAfterTheFrameIsTakenOut) {
    Receive({0x55, 0x13});
    Receive(kEventFrame);
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(NextType(), -1);
    // The last byte of the junk now stands before a magic, as the length byte of a frame of 19 bytes.
    const Bytes frame = Frame(0x63, 1, {});
    ASSERT_EQ(frame.front(), 0x13);
    Receive(Bytes(frame.begin() + 1, frame.end() - 1));
    EXPECT_EQ(NextType(), -1);
    Receive({frame.back()});
    EXPECT_EQ(NextType(), 0x63);
}

TEST_F(FrameReceiverTest, TwoFramesInOneChunkAreTakenOneAfterTheOther) {
    Bytes both = kEventFrame;
    const Bytes answer = ResultFrame(1, 0);
    both.insert(both.end(), answer.begin(), answer.end());
    Receive(both);
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(NextType(), 0);
    EXPECT_EQ(NextType(), -1);
}

TEST_F(FrameReceiverTest, AFrameInPiecesWaitsForItsLastByte) {
    for (std::size_t index = 0; index < kEventFrame.size(); ++index) {
        EXPECT_EQ(NextType(), -1) << "after " << index << " bytes";
        Receive({kEventFrame.at(index)});
    }
    EXPECT_EQ(NextType(), 14);
}

TEST_F(FrameReceiverTest, AFrameThatLacksOnlyItsCrcWaitsThoughNothingElseIsReadOfIt) {
    Receive(CutTo(kEventFrame, kEventFrame.size() - 2));
    EXPECT_EQ(NextType(), -1);
    Receive({0xA1});
    EXPECT_EQ(NextType(), -1);
    Receive({0x71});
    Receive(CutTo(kEventFrame, 3));
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(NextType(), -1);
    Receive(Bytes(kEventFrame.begin() + 3, kEventFrame.end()));
    EXPECT_EQ(NextType(), 14);
}

TEST_F(FrameReceiverTest, ALengthOf0StaysForGood) {
    Receive(WithByte(kEventFrame, 0, 0));
    EXPECT_EQ(NextType(), -1);
    Receive(kEventFrame);
    EXPECT_EQ(NextType(), -1);
}

TEST_F(FrameReceiverTest, ALengthTooSmallForAHeaderStaysForGood) {
    Receive(WithByte(kEventFrame, 0, 16));
    EXPECT_EQ(NextType(), -1);
    Receive(kEventFrame);
    EXPECT_EQ(NextType(), -1);
}

TEST_F(FrameReceiverTest, ALengthTooSmallForItsTypeStaysForGood) {
    // A status answer asks for seven bytes behind the header: this frame is complete and has none.
    Receive(Frame(1, 1, {}));
    EXPECT_EQ(NextType(), -1);
    Receive(kEventFrame);
    EXPECT_EQ(NextType(), -1);
    EXPECT_FALSE(log_.Holds(plog::debug, kFetchedText));
    EXPECT_EQ(receiver_.Size(), 19U);
}

TEST_F(FrameReceiverTest, AFrameWithAWrongCrcIsTaken) {
    Receive(WithByte(kEventFrame, 30, 0x00));
    EXPECT_EQ(NextType(), 14);
}

TEST_F(FrameReceiverTest, AFrameOfTheGreatestLengthIsTakenWhole) {
    Receive(EventFrame(14, Bytes(228, 0x11)));
    Receive(kEventFrame);
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(NextType(), -1);
}

TEST_F(FrameReceiverTest, WithoutABuilderTheFrameWaits) {
    Receive(kEventFrame);
    EXPECT_EQ(receiver_.Next(nullptr), nullptr);
    EXPECT_EQ(NextType(), 14);
}

TEST_F(FrameReceiverTest, WithoutABuilderTheMagicAtTheFirstIndexIsStillWarnedOf) {
    Receive({0xFE, 0xFD, 0x00});
    EXPECT_EQ(receiver_.Next(nullptr), nullptr);
    EXPECT_EQ(log_.Count(plog::warning, kMagicAtFirstIndexText), 1);
}

TEST_F(FrameReceiverTest, ReturnsWhetherSomethingWasReceivedAndBuffersWhatCameInAnyCase) {
    for (const bool isReceived : {true, false}) {
        EXPECT_EQ(receiver_.ReceiveWith([&](Bytes& bytes) {
            EXPECT_TRUE(bytes.empty());
            bytes = kEventFrame;
            return isReceived;
        }),
                  isReceived);
        EXPECT_EQ(NextType(), 14);
    }
}

TEST_F(FrameReceiverTest, BytesOfAReceptionThatThrewComeBeforeThoseOfTheNext) {
    EXPECT_THROW(receiver_.ReceiveWith([](Bytes& bytes) -> bool {
        bytes = CutTo(kEventFrame, 20);
        throw std::bad_alloc();
    }),
                 std::bad_alloc);
    EXPECT_EQ(receiver_.Size(), 0U);
    Receive(Bytes(kEventFrame.begin() + 20, kEventFrame.end()));
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(receiver_.Size(), 0U);
}

}  // namespace
}  // namespace Testing
