#pragma once

#include "messages/BrenkMessagePayload.h"

namespace Brenk::Messages {

// Refuses access after a card event: no bytes. BrenkMessageBuilder sends a BrenkDeviceOnlyPayload for it,
// which gives the same frame; this class has a data type of its own for callers that must tell the two apart.
class BrenkAccessDenied : public BrenkMessagePayload {
  public:
    BrenkAccessDenied() : BrenkMessagePayload(PayloadDataTypes::kAccessDenied) {}
};

}  // namespace Brenk::Messages
