#pragma once

#include <cstdint>
#include <vector>

#include "messages/BrenkMessagePayload.h"

namespace Brenk::Messages {

// A gateway's verdict on a request. Bytes:
//
//   0  1  response code (BrenkResponseCode.h)
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

}  // namespace Brenk::Messages
