#pragma once

#include <cstdint>
#include <vector>

#include "messages/BrenkMessagePayload.h"

namespace Brenk::Messages {

// Opens a lock that closes again by itself. Bytes: the value (1), which the lock reads as a duration in its own
// unit.
class BrenkShortTermActivationPayload : public BrenkMessagePayload {
  public:
    explicit BrenkShortTermActivationPayload(std::uint8_t value);

    std::vector<unsigned char>* Serialize() override;

  private:
    std::uint8_t value_;
};

}  // namespace Brenk::Messages
