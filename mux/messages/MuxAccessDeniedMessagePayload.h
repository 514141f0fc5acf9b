#pragma once

#include "mux/messages/MuxLockRequestPayload.h"

namespace Mux {

// Asks a lock to show that access is denied, or answers a card-reader event so.
class MuxAccessDeniedMessagePayload : public MuxLockRequestPayload {
  public:
    using MuxLockRequestPayload::MuxLockRequestPayload;
};

}  // namespace Mux
