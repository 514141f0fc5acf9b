#pragma once

#include <cstdint>
#include <string>

#include "mux/messages/MuxMessagePayloadBase.h"

namespace Mux {

// What a lock's reader saw: {"gatewayID":<integer>,"lockID":<integer>,"timestamp":<text>,"RFIDData":<text>}.
class MuxCardEventPayload : public MuxMessagePayloadBase {
  public:
    // `lockID` is the lock's device address; `timestamp` and `rfidData` are passed on to the client as they stand.
    MuxCardEventPayload(std::int32_t gatewayID, std::uint16_t lockID, std::string timestamp, std::string rfidData);

    std::int32_t GatewayID() const { return gatewayID_; }
    std::uint16_t LockID() const { return lockID_; }
    const std::string& Timestamp() const { return timestamp_; }
    const std::string& RfidData() const { return rfidData_; }

    rapidjson::Value* ToJSONObject(rapidjson::Document* document) override;

  private:
    std::int32_t gatewayID_;
    std::uint16_t lockID_;
    std::string timestamp_;
    std::string rfidData_;
};

}  // namespace Mux
