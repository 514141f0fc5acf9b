#pragma once

#include <optional>

#include "tools/gateway-simulator/Bytes.h"

namespace Simulator {

// Cuts what arrives on a connection into frames, however it is torn or glued.
//
// A frame begins with its length byte, followed by the magic bytes; bytes that cannot begin one are handed out
// too, as junk, so that nothing a peer sends goes unnoticed.
//
// Not thread-safe: one object for each connection.
class FrameCutter {
  public:
    struct Chunk {
        bool isFrame = false;
        Bytes bytes;
    };

    // Takes bytes as they were received, any number of them.
    void Append(const Bytes& received);

    // The next frame (complete by its length byte, not checked further) or run of junk, in the order received;
    // nothing when the rest may still become a frame.
    std::optional<Chunk> Next();

    // What was received and not handed out yet.
    const Bytes& Pending() const { return pending_; }

  private:
    std::optional<std::size_t> FindStart() const;
    std::size_t JunkWithoutStart() const;
    Chunk Cut(std::size_t count, bool isFrame);

    Bytes pending_;
};

}  // namespace Simulator
