#include "gateway/FrameReceiver.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <new>
#include <random>
#include <string>

#include "gateway/FrameBuffer.h"
#include "tests/messages/WireBytes.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FakeGateway.h"

namespace Testing {
namespace {

using Brenk::FrameBuffer;
using Brenk::FrameSearch;

const Bytes kFrame = EventFrame(14, {0x04, 0xA1, 0xB2, 0xC3});

FrameSearch Take(FrameBuffer& buffer, Bytes& frame) {
    const FrameSearch result = buffer.Find(frame);
    buffer.EraseFound();
    return result;
}

TEST(FrameBuffer, FindsTheSameFrameUntilItIsErasedAndErasesOrKeepsNothingThatHasNotArrived) {
    FrameBuffer buffer;
    buffer.EraseFound();
    buffer.Append(CutTo(kFrame, kFrame.size() - 1));
    buffer.EraseFound();
    buffer.KeepOnlyFound();
    buffer.Append({kFrame.back()});
    Bytes found;
    EXPECT_EQ(buffer.Find(found), FrameSearch::kFound);
    EXPECT_EQ(buffer.Find(found), FrameSearch::kFound);
    EXPECT_EQ(found, kFrame);
    buffer.EraseFound();
    EXPECT_EQ(buffer.Find(found), FrameSearch::kNone);
    EXPECT_TRUE(found.empty());
}

// The buffer as it is when nothing is ever dropped, written from its rules alone.
class EverythingKept {
  public:
    void Append(const Bytes& bytes) { text_.append(bytes.begin(), bytes.end()); }

    FrameSearch Take(Bytes& frame) {
        frame.clear();
        const std::size_t magic = text_.find("\xFE\xFD");
        if (magic == 0 || magic == std::string::npos) {
            return magic == 0 ? FrameSearch::kMagicAtFirstIndex : FrameSearch::kNone;
        }
        const std::size_t size = static_cast<unsigned char>(text_.at(magic - 1));
        if (size < 17 || text_.size() < magic - 1 + size) {
            return FrameSearch::kNone;
        }
        frame.assign(text_.begin() + static_cast<std::ptrdiff_t>(magic) - 1,
                     text_.begin() + static_cast<std::ptrdiff_t>(magic - 1 + size));
        text_.erase(magic - 1, size);
        return FrameSearch::kFound;
    }

  private:
    std::string text_;
};

// Bytes that are often a magic or a length, so that frames begin behind, inside and in place of junk.
Bytes RandomPiece(std::mt19937& random) {
    constexpr std::array<unsigned char, 13> kUsual = {0xFE, 0xFE, 0xFD, 0xFD, 0x11, 0x11, 0x12,
                                                      0x13, 0x13, 0x55, 0xFF, 0x10, 0x00};
    const bool isSafe = random() % 4 != 0;
    Bytes piece(random() % 12);
    for (unsigned char& byte : piece) {
        byte = kUsual.at(random() % (kUsual.size() - (isSafe ? 2 : 0)));
    }
    return piece;
}

TEST(FrameBuffer, FindsWhatItWouldFindIfNothingWereEverDropped) {
    std::mt19937 random(1);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same streams in every run
    std::size_t frames = 0;
    std::size_t stuckAtFirstIndex = 0;
    for (int stream = 0; stream < 5000; ++stream) {
        FrameBuffer buffer;
        EverythingKept expected;
        for (int pieces = 0; pieces < 20; ++pieces) {
            const Bytes piece = RandomPiece(random);
            buffer.Append(piece);
            expected.Append(piece);
            Bytes frame;
            Bytes expectedFrame;
            FrameSearch result = FrameSearch::kFound;
            while (result == FrameSearch::kFound) {
                result = expected.Take(expectedFrame);
                ASSERT_EQ(Take(buffer, frame), result) << "stream " << stream;
                ASSERT_EQ(frame, expectedFrame) << "stream " << stream;
                frames += result == FrameSearch::kFound ? 1 : 0;
            }
            stuckAtFirstIndex += result == FrameSearch::kMagicAtFirstIndex ? 1 : 0;
        }
    }
    EXPECT_GT(frames, 2000U);
    EXPECT_GT(stuckAtFirstIndex, 1000U);
}

constexpr int kPieces = 4096;

std::size_t SizeAfterAFloodOf(const Bytes& piece, FrameBuffer& buffer) {
    for (int count = 0; count < kPieces; ++count) {
        buffer.Append(piece);
    }
    return buffer.Size();
}

TEST(FrameBuffer, OfJunkOnlyTheLastTooShortLengthAndWhatFollowsItAreKept) {
    FrameBuffer buffer;
    EXPECT_EQ(SizeAfterAFloodOf(FromHex("41 42 0D 0A 43 44"), buffer), 3U);
    buffer.Append(kFrame);
    Bytes frame;
    EXPECT_EQ(Take(buffer, frame), FrameSearch::kFound);
    EXPECT_EQ(frame, kFrame);
    EXPECT_EQ(buffer.Size(), 3U);
}

TEST(FrameBuffer, JunkOfBytesThatMayAllBecomeLengthsIsKeptWhole) {
    FrameBuffer buffer;
    buffer.Append(Bytes(300, 0x1F));
    const Bytes withoutLength(kFrame.begin() + 1, kFrame.end());
    for (int count = 0; count < 300; ++count) {
        buffer.Append(withoutLength);
        Bytes frame;
        ASSERT_EQ(Take(buffer, frame), FrameSearch::kFound) << count;
        ASSERT_EQ(frame, kFrame);
    }
    EXPECT_EQ(buffer.Size(), 0U);
    buffer.Append(withoutLength);
    Bytes frame;
    EXPECT_EQ(buffer.Find(frame), FrameSearch::kMagicAtFirstIndex);
}

TEST(FrameBuffer, BehindAMagicAtTheFirstIndexOrALengthTooShortForAnyFrameNothingIsKept) {
    Bytes frame;
    FrameBuffer atFirst;
    atFirst.Append({0xFE});
    atFirst.Append({0xFD});
    EXPECT_EQ(SizeAfterAFloodOf(kFrame, atFirst), 2U);
    EXPECT_EQ(atFirst.Find(frame), FrameSearch::kMagicAtFirstIndex);
    for (const int length : {0, 1, 16}) {
        FrameBuffer buffer;
        buffer.Append({0x55, static_cast<unsigned char>(length), 0xFE, 0xFD});
        EXPECT_EQ(SizeAfterAFloodOf(kFrame, buffer), 3U);
        EXPECT_EQ(buffer.Find(frame), FrameSearch::kNone);
    }
}

TEST(FrameBuffer, OfAStreamThatIsStuckAtAFrameOnlyTheFrameIsKept) {
    FrameBuffer buffer;
    buffer.Append({0x55, 0x66});
    buffer.Append(kFrame);
    buffer.Append({0x77});
    buffer.KeepOnlyFound();
    EXPECT_EQ(SizeAfterAFloodOf(kFrame, buffer), kFrame.size());
    Bytes frame;
    EXPECT_EQ(buffer.Find(frame), FrameSearch::kFound);
    EXPECT_EQ(frame, kFrame);
}

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

TEST_F(FrameReceiverTest, TakesAFrameOnceItsLastByteIsThereAndSaysSoAtDebug) {
    for (const unsigned char byte : kFrame) {
        EXPECT_EQ(NextType(), -1);
        Receive({byte});
    }
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(log_.Count(plog::debug, kFetchedText), 1);
    EXPECT_EQ(NextType(), -1);
    EXPECT_EQ(log_.Count(plog::debug, kFetchedText), 1);
}

TEST_F(FrameReceiverTest, TakesAFrameOfTheGreatestLengthAndOneWithAWrongCrc) {
    Receive(EventFrame(14, Bytes(228, 0x11)));
    Receive(WithByte(kFrame, kFrame.size() - 1, static_cast<unsigned char>(kFrame.back() + 1)));
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(NextType(), -1);
}

TEST_F(FrameReceiverTest, ABufferThatStartsWithTheMagicYieldsTheWarningAndNoFrameHoweverMuchFollows) {
    Receive({0xFE, 0xFD});
    EXPECT_EQ(receiver_.Next(nullptr), nullptr);
    EXPECT_EQ(log_.Count(plog::warning, kMagicAtFirstIndexText), 1);
    Receive(kFrame);
    EXPECT_EQ(NextType(), -1);
    EXPECT_EQ(log_.Count(plog::warning, kMagicAtFirstIndexText), 2);
}

TEST_F(FrameReceiverTest, ALengthTooSmallForItsTypeStaysForGood) {
    // A status answer asks for seven bytes behind the header: this frame is complete and has none.
    Receive(Frame(1, 1, {}));
    EXPECT_EQ(NextType(), -1);
    Receive(kFrame);
    EXPECT_EQ(NextType(), -1);
    EXPECT_FALSE(log_.Holds(plog::debug, kFetchedText));
    EXPECT_EQ(receiver_.Size(), 19U);
}

TEST_F(FrameReceiverTest, WithoutABuilderTheFrameWaits) {
    Receive(kFrame);
    EXPECT_EQ(receiver_.Next(nullptr), nullptr);
    EXPECT_EQ(NextType(), 14);
}

TEST_F(FrameReceiverTest, ReturnsWhetherSomethingWasReceivedAndBuffersWhatCameInAnyCase) {
    for (const bool isReceived : {true, false}) {
        EXPECT_EQ(receiver_.ReceiveWith([&](Bytes& bytes) {
            EXPECT_TRUE(bytes.empty());
            bytes = kFrame;
            return isReceived;
        }),
                  isReceived);
        EXPECT_EQ(NextType(), 14);
    }
}

TEST_F(FrameReceiverTest, BytesOfAReceptionThatThrewComeBeforeThoseOfTheNext) {
    EXPECT_THROW(receiver_.ReceiveWith([](Bytes& bytes) -> bool {
        bytes = CutTo(kFrame, 20);
        throw std::bad_alloc();
    }),
                 std::bad_alloc);
    EXPECT_EQ(receiver_.Size(), 0U);
    Receive(Bytes(kFrame.begin() + 20, kFrame.end()));
    EXPECT_EQ(NextType(), 14);
    EXPECT_EQ(receiver_.Size(), 0U);
}

}  // namespace
}  // namespace Testing
