#include "gateway/FrameBuffer.h"

#include <gtest/gtest.h>

#include "tests/gateway/GatewayFixture.h"
#include "tests/messages/WireBytes.h"

namespace Testing {
namespace {

using Brenk::FrameBuffer;
using Brenk::FrameSearch;

// Frames written by hand from the frame layout; their CRC by python3, binascii.crc_hqx(data, 0).
const Bytes kCardEvent =
    FromHex("1F FE FD 1A 01 00 00 00 00 00 00 00 00 01 00 05 0E A0 A1 A2 A3 B1 B2 B3 04 04 A1 B2 C3 A1 71");

constexpr const char* kMagicAtFirstIndexText =
    "Found a new BRENK packet magic number, but seems that's at an index position that isn't allowed.";
constexpr const char* kFetchedText = "Message fetched and translated. Erasing the array from the buffer.";

TEST(FrameBuffer, ErasesNothingWhenThereIsNoWholeFrame) {
    FrameBuffer buffer;
    buffer.EraseFound();
    buffer.Append(CutTo(kCardEvent, 30));
    buffer.EraseFound();
    buffer.Append({kCardEvent.back()});
    Bytes found;
    EXPECT_EQ(buffer.Find(found), FrameSearch::kFound);
    EXPECT_EQ(found, kCardEvent);
}

TEST(FrameBuffer, FindsTheSameFrameUntilItIsErased) {
    FrameBuffer buffer;
    buffer.Append(kCardEvent);
    Bytes found;
    EXPECT_EQ(buffer.Find(found), FrameSearch::kFound);
    EXPECT_EQ(buffer.Find(found), FrameSearch::kFound);
    buffer.EraseFound();
    EXPECT_EQ(buffer.Find(found), FrameSearch::kNone);
    EXPECT_TRUE(found.empty());
}

TEST(FrameBuffer, ALengthOfZeroIsNoFrameHoweverMuchFollows) {
    FrameBuffer buffer;
    buffer.Append({0x00, 0xFE, 0xFD});
    buffer.Append(kCardEvent);
    Bytes found;
    EXPECT_EQ(buffer.Find(found), FrameSearch::kNone);
    EXPECT_TRUE(found.empty());
}

// The gateway is never connected here, so its read thread leaves the buffer to the test.
class ReceiveBufferTest : public GatewayTest {
  protected:
    // The command code of the next frame, -1 when there is none.
    int NextType() {
        const std::unique_ptr<Brenk::Messages::BrenkMessage> frame(gateway_->FetchAndTranslateMessage());
        return frame == nullptr ? -1 : frame->PayloadType();
    }
};

TEST_F(ReceiveBufferTest, AnEmptyBufferHasNoFrame) {
    EXPECT_EQ(NextType(), -1);
}

TEST_F(ReceiveBufferTest, TakesAFrameAndSaysSoAtDebug) {
    gateway_->AppendReceived(kCardEvent);
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(log_.Count(plog::debug, kFetchedText), 1);
    EXPECT_EQ(NextType(), -1);
    EXPECT_EQ(log_.Count(plog::debug, kFetchedText), 1);
}

TEST_F(ReceiveBufferTest, ABufferThatStartsWithTheMagicYieldsTheWarningAndNoFrameHoweverMuchFollows) {
    gateway_->AppendReceived({0xFE, 0xFD});
    EXPECT_EQ(NextType(), -1);
    EXPECT_EQ(log_.Count(plog::warning, kMagicAtFirstIndexText), 1);
    gateway_->AppendReceived(kCardEvent);
    gateway_->AppendReceived(kCardEvent);
    EXPECT_EQ(NextType(), -1);
    EXPECT_EQ(NextType(), -1);
    EXPECT_EQ(log_.Count(plog::warning, kMagicAtFirstIndexText), 3);
}

TEST_F(ReceiveBufferTest, BytesWithoutAMagicWaitWithoutALine) {
    gateway_->AppendReceived({0x13, 0xFE, 0x00, 0xFD, 0xFE});
    EXPECT_EQ(NextType(), -1);
    EXPECT_FALSE(log_.Holds(plog::warning, "magic"));
}

TEST_F(ReceiveBufferTest, AMagicSplitOverTwoChunksIsFound) {
    gateway_->AppendReceived(CutTo(kCardEvent, 2));
    EXPECT_EQ(NextType(), -1);
    gateway_->AppendReceived(Bytes(kCardEvent.begin() + 2, kCardEvent.end()));
    EXPECT_EQ(NextType(), 14);
}

TEST_F(ReceiveBufferTest, JunkBytesBeforeAFrameStayInTheBufferAfterTheFrameIsTakenOut) {
    gateway_->AppendReceived({0x55, 0x13});
    gateway_->AppendReceived(kCardEvent);
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(NextType(), -1);
    // The last byte of the junk now stands before a magic, as the length byte of a frame of 19 bytes.
    const Bytes frame = Frame(0x63, 1, {});
    ASSERT_EQ(frame.front(), 0x13);
    gateway_->AppendReceived(Bytes(frame.begin() + 1, frame.end() - 1));
    EXPECT_EQ(NextType(), -1);
    gateway_->AppendReceived({frame.back()});
    EXPECT_EQ(NextType(), 0x63);
}

TEST_F(ReceiveBufferTest, TwoFramesInOneChunkAreTakenOneAfterTheOther) {
    Bytes both = kCardEvent;
    const Bytes answer = ResultFrame(1, 0);
    both.insert(both.end(), answer.begin(), answer.end());
    gateway_->AppendReceived(both);
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(NextType(), 0);
    EXPECT_EQ(NextType(), -1);
}

TEST_F(ReceiveBufferTest, AFrameInPiecesWaitsForItsLastByte) {
    for (std::size_t index = 0; index < kCardEvent.size(); ++index) {
        EXPECT_EQ(NextType(), -1) << "after " << index << " bytes";
        gateway_->AppendReceived({kCardEvent.at(index)});
    }
    EXPECT_EQ(NextType(), 14);
}

TEST_F(ReceiveBufferTest, AFrameThatLacksOnlyItsCrcWaitsThoughNothingElseIsReadOfIt) {
    gateway_->AppendReceived(CutTo(kCardEvent, kCardEvent.size() - 2));
    EXPECT_EQ(NextType(), -1);
    gateway_->AppendReceived({0xA1});
    EXPECT_EQ(NextType(), -1);
    gateway_->AppendReceived({0x71});
    gateway_->AppendReceived(CutTo(kCardEvent, 3));
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(NextType(), -1);
    gateway_->AppendReceived(Bytes(kCardEvent.begin() + 3, kCardEvent.end()));
    EXPECT_EQ(NextType(), 14);
}

TEST_F(ReceiveBufferTest, ALengthOf0StaysForGood) {
    gateway_->AppendReceived(WithByte(kCardEvent, 0, 0));
    EXPECT_EQ(NextType(), -1);
    gateway_->AppendReceived(kCardEvent);
    EXPECT_EQ(NextType(), -1);
}

TEST_F(ReceiveBufferTest, ALengthTooSmallForAHeaderStaysForGood) {
    gateway_->AppendReceived(WithByte(kCardEvent, 0, 16));
    EXPECT_EQ(NextType(), -1);
    gateway_->AppendReceived(kCardEvent);
    EXPECT_EQ(NextType(), -1);
}

TEST_F(ReceiveBufferTest, ALengthTooSmallForItsTypeStaysForGood) {
    // A status answer asks for seven bytes behind the header: this frame is complete and has none.
    gateway_->AppendReceived(Frame(1, 1, {}));
    EXPECT_EQ(NextType(), -1);
    gateway_->AppendReceived(kCardEvent);
    EXPECT_EQ(NextType(), -1);
    EXPECT_FALSE(log_.Holds(plog::debug, kFetchedText));
}

TEST_F(ReceiveBufferTest, AFrameWithAWrongCrcIsTaken) {
    gateway_->AppendReceived(WithByte(kCardEvent, 30, 0x00));
    EXPECT_EQ(NextType(), 14);
}

TEST_F(ReceiveBufferTest, AFrameOfTheGreatestLengthIsTakenWhole) {
    gateway_->AppendReceived(EventFrame(14, Bytes(228, 0x11)));
    gateway_->AppendReceived(kCardEvent);
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(NextType(), -1);
}

TEST_F(ReceiveBufferTest, WithoutABuilderTheFrameWaits) {
    gateway_->SetMessageBuilder(nullptr);
    gateway_->AppendReceived(kCardEvent);
    EXPECT_EQ(NextType(), -1);
    gateway_->SetMessageBuilder(builder_);
    EXPECT_EQ(NextType(), 14);
}

TEST_F(ReceiveBufferTest, WithoutABuilderTheMagicAtTheFirstIndexIsStillWarnedOf) {
    gateway_->SetMessageBuilder(nullptr);
    gateway_->AppendReceived({0xFE, 0xFD, 0x00});
    EXPECT_EQ(NextType(), -1);
    EXPECT_EQ(log_.Count(plog::warning, kMagicAtFirstIndexText), 1);
}

}  // namespace
}  // namespace Testing
