#pragma once

#include <cstdint>

#include "mux/messages/MuxLockRequestPayload.h"

namespace Mux {

// Asks to open a lock and to close it after a while, also as the answer to a card-reader event:
// {"gatewayID":<integer>,"lockID":<integer>,"duration":<integer>}.
class MuxLockOpenCloseMessagePayload : public MuxLockRequestPayload {
  public:
    // `duration` is passed on in the gateway's unit; 0 is kept here and replaced when the request is routed.
    MuxLockOpenCloseMessagePayload(std::int32_t gatewayID, std::int32_t lockID, std::uint8_t duration);

    std::uint8_t Duration() const { return duration_; }

    rapidjson::Value* ToJSONObject(rapidjson::Document* document) override;

  private:
    std::uint8_t duration_;
};

}  // namespace Mux
