#pragma once

#include "messages/BrenkMessagePayload.h"

namespace Brenk::Messages {

// Lets a lock use its whitelist: no bytes. BrenkMessageBuilder sends a BrenkDeviceOnlyPayload for it,
// which gives the same frame; this class has a data type of its own for callers that must tell the two apart.
class BrenkActivateWhitelist : public BrenkMessagePayload {
  public:
    BrenkActivateWhitelist() : BrenkMessagePayload(PayloadDataTypes::kActivateWhitelist) {}
};

}  // namespace Brenk::Messages
