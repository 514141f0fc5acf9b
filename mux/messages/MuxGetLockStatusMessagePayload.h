#pragma once

#include "mux/messages/MuxLockRequestPayload.h"

namespace Mux {

// Asks for the state of a lock.
class MuxGetLockStatusMessagePayload : public MuxLockRequestPayload {
  public:
    using MuxLockRequestPayload::MuxLockRequestPayload;
};

}  // namespace Mux
