#include "gateway/FrameReceiver.h"

#include <stdexcept>

#include "diagnostics/Log.h"

namespace Brenk {

void FrameReceiver::BufferReceived() {
    if (!received_.empty()) {
        buffer_.Append(received_);
        std::vector<unsigned char>().swap(received_);
    }
}

std::unique_ptr<Messages::BrenkMessage> FrameReceiver::Next(Messages::BrenkMessageBuilder* builder) {
    std::vector<unsigned char> bytes;
    const FrameSearch found = buffer_.Find(bytes);
    if (found == FrameSearch::kMagicAtFirstIndex) {
        MUX_LOG(plog::warning) << "Found a new BRENK packet magic number, but seems that's at an index position that "
                                  "isn't allowed.";
    }
    if (found != FrameSearch::kFound || builder == nullptr) {
        return nullptr;
    }
    std::unique_ptr<Messages::BrenkMessage> frame;
    try {
        frame.reset(builder->Parse(bytes));
    } catch (const std::out_of_range&) {
        // Shorter than its own type asks for: it stays, and the same bytes are tried again.
        buffer_.KeepOnlyFound();
        return nullptr;
    }
    MUX_LOG(plog::debug) << "Message fetched and translated. Erasing the array from the buffer.";
    buffer_.EraseFound();
    return frame;
}

std::size_t FrameReceiver::Size() const {
    return buffer_.Size();
}

}  // namespace Brenk
