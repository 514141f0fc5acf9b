#pragma once

#include <cstddef>
#include <vector>

namespace Brenk {

// Where the next frame stands in what a gateway has sent.
enum class FrameSearch {
    kNone,               // no magic, or the frame has not fully arrived
    kMagicAtFirstIndex,  // the magic stands at index 0: its length byte is missing, so it can't be a frame
    kFound,
};

// The bytes received from a gateway from which frames are cut: byte pair 0xFE 0xFD, the byte before the pair is the
// length of the whole frame, counted from that byte on.
//
// Bytes before a frame stay where they are when the frame is taken. Not thread-safe: the read thread's own.
class FrameBuffer {
  public:
    void Append(const std::vector<unsigned char>& bytes);

    // Looks for the first magic; for kFound copies the frame, which stays in the buffer, into `frame`.
    FrameSearch Find(std::vector<unsigned char>& frame) const;

    // Removes the frame that Find would find; nothing for any other result.
    void EraseFound();

  private:
    struct Location {
        FrameSearch result = FrameSearch::kNone;
        std::size_t begin = 0;
        std::size_t size = 0;
    };
    Location Locate() const;

    std::vector<unsigned char> bytes_;
};

}  // namespace Brenk
