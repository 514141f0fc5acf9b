#include "gateway/FrameBuffer.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>

#include "tests/messages/WireBytes.h"

namespace Testing {
namespace {

using Brenk::FrameBuffer;
using Brenk::FrameSearch;

// Frames written by hand from the frame layout; their CRC by python3, binascii.crc_hqx(data, 0).
const Bytes kCardEvent =
    FromHex("1F FE FD 1A 01 00 00 00 00 00 00 00 00 01 00 05 0E A0 A1 A2 A3 B1 B2 B3 04 04 A1 B2 C3 A1 71");

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

FrameSearch Take(FrameBuffer& buffer, Bytes& frame) {
    const FrameSearch result = buffer.Find(frame);
    buffer.EraseFound();
    return result;
}

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
    buffer.Append(kCardEvent);
    Bytes frame;
    EXPECT_EQ(Take(buffer, frame), FrameSearch::kFound);
    EXPECT_EQ(frame, kCardEvent);
    EXPECT_EQ(buffer.Size(), 3U);
}

TEST(FrameBuffer, JunkOfBytesThatMayAllBecomeLengthsIsKeptWhole) {
    FrameBuffer buffer;
    buffer.Append(Bytes(300, 0x1F));
    const Bytes withoutLength(kCardEvent.begin() + 1, kCardEvent.end());
    for (int count = 0; count < 300; ++count) {
        buffer.Append(withoutLength);
        Bytes frame;
        ASSERT_EQ(Take(buffer, frame), FrameSearch::kFound) << count;
        ASSERT_EQ(frame, kCardEvent);
    }
    EXPECT_EQ(buffer.Size(), 0U);
    buffer.Append(withoutLength);
    Bytes frame;
    EXPECT_EQ(buffer.Find(frame), FrameSearch::kMagicAtFirstIndex);
}

TEST(FrameBuffer, BehindAMagicAtTheFirstIndexNothingIsKept) {
    FrameBuffer buffer;
    buffer.Append({0xFE});
    buffer.Append({0xFD});
    EXPECT_EQ(SizeAfterAFloodOf(kCardEvent, buffer), 2U);
    Bytes frame;
    EXPECT_EQ(buffer.Find(frame), FrameSearch::kMagicAtFirstIndex);
}

TEST(FrameBuffer, BehindALengthTooShortForAnyFrameNothingIsKept) {
    for (const int length : {0, 1, 16}) {
        FrameBuffer buffer;
        buffer.Append({0x55, static_cast<unsigned char>(length), 0xFE, 0xFD});
        EXPECT_EQ(SizeAfterAFloodOf(kCardEvent, buffer), 3U);
        Bytes frame;
        EXPECT_EQ(buffer.Find(frame), FrameSearch::kNone);
    }
}

TEST(FrameBuffer, OfAStreamThatIsStuckAtAFrameOnlyTheFrameIsKept) {
    FrameBuffer buffer;
    buffer.Append({0x55, 0x66});
    buffer.Append(kCardEvent);
    buffer.Append({0x77});
    buffer.KeepOnlyFound();
    EXPECT_EQ(SizeAfterAFloodOf(kCardEvent, buffer), kCardEvent.size());
    Bytes frame;
    EXPECT_EQ(buffer.Find(frame), FrameSearch::kFound);
    EXPECT_EQ(frame, kCardEvent);
}

TEST(FrameBuffer, IsNotStuckAtAFrameThatHasNotArrived) {
    FrameBuffer buffer;
    buffer.Append(CutTo(kCardEvent, 30));
    buffer.KeepOnlyFound();
    buffer.Append({kCardEvent.back()});
    Bytes frame;
    EXPECT_EQ(buffer.Find(frame), FrameSearch::kFound);
}

}  // namespace
}  // namespace Testing
