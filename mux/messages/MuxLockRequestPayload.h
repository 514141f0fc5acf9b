#pragma once

#include <cstdint>

#include "mux/messages/MuxMessagePayloadBase.h"

namespace Mux {

// A request that names a gateway and a lock: {"gatewayID":<integer>,"lockID":<integer>}.
//
// The base of every request that is routed to a gateway; the derived class tells what is asked for.
class MuxLockRequestPayload : public MuxMessagePayloadBase {
  public:
    // `gatewayID` is the gateway's number in the configuration, `lockID` the lock's device address on it.
    MuxLockRequestPayload(std::int32_t gatewayID, std::int32_t lockID);

    std::int32_t GatewayID() const { return gatewayID_; }
    std::int32_t LockID() const { return lockID_; }

    rapidjson::Value* ToJSONObject(rapidjson::Document* document) override;

  private:
    std::int32_t gatewayID_;
    std::int32_t lockID_;
};

}  // namespace Mux
