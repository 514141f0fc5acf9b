#pragma once

#include <cstdint>
#include <vector>

#include "messages/BrenkMessagePayload.h"

namespace Brenk::Messages {

// Closes a lock. Bytes: the value (2, big-endian), a delay in the lock's own unit.
class BrenkLongTermReleasePayload : public BrenkMessagePayload {
  public:
    explicit BrenkLongTermReleasePayload(std::uint16_t value);

    std::vector<unsigned char>* Serialize() override;

  private:
    std::uint16_t value_;
};

}  // namespace Brenk::Messages
