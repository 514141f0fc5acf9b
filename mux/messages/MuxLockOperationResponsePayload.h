#pragma once

#include <cstdint>

#include "mux/messages/MuxMessagePayloadBase.h"

namespace Mux {

// How a lock operation ended: {"Success":<boolean>,"ErrorCode":<integer>}.
class MuxLockOperationResponsePayload : public MuxMessagePayloadBase {
  public:
    MuxLockOperationResponsePayload(bool success, std::int32_t errorCode);

    bool Success() const { return success_; }
    std::int32_t ErrorCode() const { return errorCode_; }

    rapidjson::Value* ToJSONObject(rapidjson::Document* document) override;

  private:
    bool success_;
    std::int32_t errorCode_;
};

}  // namespace Mux
