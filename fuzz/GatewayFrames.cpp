// What a gateway sends: cutting frames from the stream and decoding them.
//
// Input: one byte that says how many bytes arrive at a time, then the stream.

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

#include "fuzz/FuzzTarget.h"
#include "gateway/FrameBuffer.h"
#include "messages/BrenkMessageBuilder.h"

namespace {

using Bytes = std::vector<unsigned char>;

void TakeFrames(Brenk::FrameBuffer& buffer, std::vector<Bytes>& frames) {
    for (Bytes frame; buffer.Find(frame) == Brenk::FrameSearch::kFound; buffer.EraseFound()) {
        FUZZ_CHECK(!frame.empty() && frame.front() == frame.size());
        frames.push_back(frame);
    }
}

std::vector<Bytes> CutInPieces(const Bytes& stream, std::size_t pieceSize) {
    Brenk::FrameBuffer buffer;
    std::vector<Bytes> frames;
    for (auto begin = stream.begin(); begin != stream.end();) {
        const auto end = begin + std::min(static_cast<std::ptrdiff_t>(pieceSize), stream.end() - begin);
        buffer.Append(Bytes(begin, end));
        TakeFrames(buffer, frames);
        begin = end;
    }
    return frames;
}

// Cuts frames without forgetting anything: what the daemon drops must not be missed. A frame that cannot be decoded
// keeps everything behind it from being taken; here those are the ones that end before their payload begins.
std::vector<Bytes> CutNaively(Bytes stream) {
    constexpr unsigned char kMagic[] = {0xFE, 0xFD};
    constexpr std::ptrdiff_t kShortestFrame = 17;
    std::vector<Bytes> frames;
    for (;;) {
        const auto magic = std::search(stream.begin(), stream.end(), std::begin(kMagic), std::end(kMagic));
        if (magic == stream.begin() || magic == stream.end()) {
            return frames;
        }
        const auto begin = magic - 1;
        const std::ptrdiff_t size = *begin;
        if (size < kShortestFrame || size > stream.end() - begin) {
            return frames;
        }
        frames.emplace_back(begin, begin + size);
        stream.erase(begin, begin + size);
    }
}

// A frame may end before any of its fields; nothing else is an error. Longest are a reader's data: a length byte at 24
// and up to 255 bytes behind it, more than any frame cut from a stream can hold.
void Decode(Bytes frame) {
    constexpr std::size_t kHoldsEveryField = 25 + 255;
    Brenk::Messages::BrenkMessageBuilder builder(0, 1);
    try {
        const std::unique_ptr<Brenk::Messages::BrenkMessage> message(builder.Parse(frame));
        FUZZ_CHECK(message != nullptr);
        FUZZ_CHECK(!message->BytesAsText().empty());
    } catch (const std::out_of_range&) {
        FUZZ_CHECK(frame.size() < kHoldsEveryField);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::DiscardLog();
    if (size < 2) {
        return 0;
    }
    const Bytes stream(data + 1, data + size);
    const std::vector<Bytes> frames = CutInPieces(stream, stream.size());
    FUZZ_CHECK(CutNaively(stream) == frames);
    FUZZ_CHECK(CutInPieces(stream, std::max<std::size_t>(*data, 1)) == frames);
    std::for_each(frames.begin(), frames.end(), Decode);
    Decode(stream);
    return 0;
}
