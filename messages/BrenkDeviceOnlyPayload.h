#pragma once

#include <cstdint>

#include "messages/BrenkMessagePayload.h"

namespace Brenk::Messages {

// The payload of a request that says everything by its command code and device address: no bytes.
class BrenkDeviceOnlyPayload : public BrenkMessagePayload {
  public:
    // `dataType` is the request's command code: disable whitelist, enable whitelist or access denied.
    explicit BrenkDeviceOnlyPayload(std::uint8_t dataType) : BrenkMessagePayload(dataType) {}
};

}  // namespace Brenk::Messages
