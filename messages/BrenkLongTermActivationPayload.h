#pragma once

#include <cstdint>
#include <vector>

#include "messages/BrenkMessagePayload.h"

namespace Brenk::Messages {

// Opens a lock. Bytes: first value (2, big-endian), second value (2, big-endian); what they mean is the lock's
// affair. The gateway layer sends 0 and the time value of the request.
class BrenkLongTermActivationPayload : public BrenkMessagePayload {
  public:
    BrenkLongTermActivationPayload(std::uint16_t firstValue, std::uint16_t secondValue);

    std::vector<unsigned char>* Serialize() override;

  private:
    std::uint16_t firstValue_;
    std::uint16_t secondValue_;
};

}  // namespace Brenk::Messages
