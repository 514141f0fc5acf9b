#pragma once

#include "mux/messages/MuxLockRequestPayload.h"

namespace Mux {

// Asks to open a lock, or to open it as the answer to a card-reader event.
class MuxLockOpenMessagePayload : public MuxLockRequestPayload {
  public:
    using MuxLockRequestPayload::MuxLockRequestPayload;
};

}  // namespace Mux
