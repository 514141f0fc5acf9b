#pragma once

#include "mux/messages/MuxLockRequestPayload.h"

namespace Mux {

// Asks a lock to use its whitelist.
class MuxWhitelistEnablePayload : public MuxLockRequestPayload {
  public:
    using MuxLockRequestPayload::MuxLockRequestPayload;
};

}  // namespace Mux
