#pragma once

#include "mux/messages/MuxLockRequestPayload.h"

namespace Mux {

// Asks to close a lock, or to close it as the answer to a card-reader event.
class MuxLockCloseMessagePayload : public MuxLockRequestPayload {
  public:
    using MuxLockRequestPayload::MuxLockRequestPayload;
};

}  // namespace Mux
