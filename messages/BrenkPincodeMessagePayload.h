#pragma once

#include <vector>

#include "messages/BrenkReaderEventPayload.h"

namespace Brenk::Messages {

// A PIN was entered at a lock; Data() is the PIN.
class BrenkPincodeMessagePayload : public BrenkReaderEventPayload {
  public:
    // Reads the payload of a whole frame; an empty frame gives an event of zeros without data. Throws
    // std::out_of_range when the frame ends before the payload does.
    explicit BrenkPincodeMessagePayload(std::vector<unsigned char>& frame)
        : BrenkReaderEventPayload(PayloadDataTypes::kPincode, frame) {}

    // The bytes that were received, in a new vector that the caller owns, so that the frame's CRC can be computed
    // again.
    std::vector<unsigned char>* Serialize() override;
};

}  // namespace Brenk::Messages
