#pragma once

#include <vector>

#include "messages/BrenkReaderEventPayload.h"

namespace Brenk::Messages {

// A card was presented at a lock's reader; Data() is its RFID data. Only received, so it serialises to nothing.
class BrenkCardReaderMessagePayload : public BrenkReaderEventPayload {
  public:
    // An event of zeros without data.
    BrenkCardReaderMessagePayload() : BrenkReaderEventPayload(PayloadDataTypes::kCardReader) {}

    // Reads the payload of a whole frame; an empty frame gives an event of zeros without data. Throws
    // std::out_of_range when the frame ends before the payload does.
    explicit BrenkCardReaderMessagePayload(std::vector<unsigned char>& frame)
        : BrenkReaderEventPayload(PayloadDataTypes::kCardReader, frame) {}
};

}  // namespace Brenk::Messages
