#pragma once

#include "mux/messages/MuxLockRequestPayload.h"

namespace Mux {

// Asks to remove all cards from a lock's whitelist.
class MuxWhitelistClearPayload : public MuxLockRequestPayload {
  public:
    using MuxLockRequestPayload::MuxLockRequestPayload;
};

}  // namespace Mux
