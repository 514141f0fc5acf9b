#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "messages/BrenkMessage.h"

namespace Brenk::Messages {

// A gateway's verdict on a request. Bytes:
//
//   0  1  response code (Codes.h)
//   1  4  only with BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR: the gateway's sequence counter, big-endian
class BrenkResponsePayload : public BrenkMessagePayload {
  public:
    // Reads the payload of a whole frame. Throws std::out_of_range when the frame ends before it does.
    explicit BrenkResponsePayload(std::vector<unsigned char>& frame);

    std::uint8_t ResponseCode() const;

    // The counter that the gateway announces; 0 with every other response code.
    std::uint32_t CurrentSequenceCounter() const;

    std::vector<unsigned char>* Serialize() override;

  private:
    bool CarriesSequenceCounter() const;

    std::uint8_t responseCode_ = 0;
    std::uint32_t currentSequenceCounter_ = 0;
};

// Asks for a lock's status, without bytes, or brings it: seven status bytes that BrenkLockState decodes. Status is
// only received, never sent, so it serialises to nothing in both forms.
class BrenkGetStatusPayload : public BrenkMessagePayload {
  public:
    using StatusBytes = std::array<std::uint8_t, 7>;

    // The request.
    BrenkGetStatusPayload();

    // The answer, read from a whole frame. An empty frame gives a payload without status. Throws std::out_of_range
    // when the frame ends before the seven bytes do.
    explicit BrenkGetStatusPayload(std::vector<unsigned char>& frame);

    // A copy of the status bytes; zeros when there is no status.
    StatusBytes StatusData() const;

  private:
    std::unique_ptr<const StatusBytes> statusData_;
};

}  // namespace Brenk::Messages
