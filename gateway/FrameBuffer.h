#pragma once

#include <cstddef>
#include <vector>

namespace Brenk {

// Where the next frame is in the bytes from a gateway.
enum class FrameSearch {
    kNone,               // no magic, or the frame has not fully arrived
    kMagicAtFirstIndex,  // the magic stands at index 0: its length byte is missing, so it can't be a frame
    kFound,
};

// The bytes received from a gateway from which frames are cut: byte pair 0xFE 0xFD, the byte before the pair is the
// length of the whole frame, counted from that byte on.
//
// Bytes before a frame stay where they are when the frame is taken, and one of them becomes a length byte when a magic
// comes without its own. Three streams are stuck for good, so nothing that follows is kept: the magic at index 0, a
// length too short for any frame, and a frame that KeepOnlyFound was called for. Because of the second of these, bytes
// before the last one that is too short a length are dropped: it would have to be taken before they could matter.
// Junk of greater bytes alone stays whole, since each of them may be the length of a frame to come.
//
// Not thread-safe: the read thread's own.
class FrameBuffer {
  public:
    void Append(const std::vector<unsigned char>& bytes);

    // Looks for the first magic; for kFound copies the frame, which stays in the buffer, into `frame`.
    FrameSearch Find(std::vector<unsigned char>& frame) const;

    // Removes the frame that Find would find; nothing for any other result.
    void EraseFound();

    // For a frame that cannot be decoded: Find keeps finding it, and everything else is dropped.
    void KeepOnlyFound();

    // How many bytes are kept.
    std::size_t Size() const;

  private:
    struct Location {
        FrameSearch result = FrameSearch::kNone;
        std::size_t begin = 0;
        std::size_t size = 0;
    };
    Location Locate() const;
    void DropWhatCannotMatter();
    void StickTo(std::vector<unsigned char>::const_iterator begin, std::vector<unsigned char>::const_iterator end);

    std::vector<unsigned char> bytes_;
    bool isStuck_ = false;
};

}  // namespace Brenk
