#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "messages/BrenkMessage.h"

namespace Brenk::Messages {

// Common part of the two events of a lock's reader. Bytes:
//
//   0  4  event header
//   4  3  event bytes 1 to 3
//   7  1  data length L
//   8  L  data: the card's RFID data or the PIN as it was entered
//
// Header and event bytes are passed on without interpretation.
class BrenkReaderEventPayload : public BrenkMessagePayload {
  public:
    // The four bytes in frame order.
    const std::array<std::uint8_t, 4>& EventHeader() const;

    const std::array<std::uint8_t, 3>& EventBytes() const;

    // Empty when the event came without data.
    const std::vector<unsigned char>& Data() const;

  protected:
    // An event of zeros without data.
    explicit BrenkReaderEventPayload(std::uint8_t dataType);

    // Reads the payload of a whole frame; an empty frame gives an event of zeros without data. Throws
    // std::out_of_range when the frame ends before the payload does.
    BrenkReaderEventPayload(std::uint8_t dataType, const std::vector<unsigned char>& frame);

  private:
    std::array<std::uint8_t, 4> eventHeader_{};
    std::array<std::uint8_t, 3> eventBytes_{};
    std::vector<unsigned char> data_;
};

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
