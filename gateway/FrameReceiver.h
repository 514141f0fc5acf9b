#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "gateway/FrameBuffer.h"
#include "messages/BrenkMessage.h"
#include "messages/BrenkMessageBuilder.h"

namespace Brenk {

// Turns the byte stream of one gateway into frames.
//
// Bytes reach the buffer in the order of their arrival, and none is lost when memory is short. Frames come out in
// order; a frame that cannot be decoded stays and blocks the stream (see FrameBuffer).
//
// Not thread-safe: used by the read thread alone.
class FrameReceiver {
  public:
    // Calls `receive` with an empty vector to append to, buffers what it appended and returns what it returned.
    //
    // An exception of `receive`, or of the buffer when memory is short, passes. What was received until then is
    // buffered by the next call, ahead of all that follows: without it the rest of the stream would be cut wrongly.
    template <typename Receive>
    bool ReceiveWith(const Receive& receive) {
        BufferReceived();
        const bool isReceived = receive(received_);
        BufferReceived();
        return isReceived;
    }

    // The next frame, decoded by `builder`; null when there is none, and without a builder.
    std::unique_ptr<Messages::BrenkMessage> Next(Messages::BrenkMessageBuilder* builder);

    // How many bytes the buffer keeps.
    std::size_t Size() const;

  private:
    void BufferReceived();

    FrameBuffer buffer_;
    std::vector<unsigned char> received_;  // not in the buffer yet
};

}  // namespace Brenk
