#pragma once

#include "messages/BrenkMessagePayload.h"

namespace Brenk::Messages {

// Stops a lock from using its whitelist: no bytes. BrenkMessageBuilder sends a BrenkDeviceOnlyPayload for it,
// which gives the same frame; this class has a data type of its own for callers that must tell the two apart.
class BrenkDeactivateWhitelist : public BrenkMessagePayload {
  public:
    BrenkDeactivateWhitelist() : BrenkMessagePayload(PayloadDataTypes::kDeactivateWhitelist) {}
};

}  // namespace Brenk::Messages
