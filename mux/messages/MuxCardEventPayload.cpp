#include "mux/messages/MuxCardEventPayload.h"

#include <utility>

#include "mux/messages/PayloadObject.h"

namespace Mux {

MuxCardEventPayload::MuxCardEventPayload(std::int32_t gatewayID, std::uint16_t lockID, std::string timestamp,
                                         std::string rfidData)
    : gatewayID_(gatewayID), lockID_(lockID), timestamp_(std::move(timestamp)), rfidData_(std::move(rfidData)) {}

rapidjson::Value* MuxCardEventPayload::ToJSONObject(rapidjson::Document* document) {
    return PayloadObject(document)
        .Add("gatewayID", gatewayID_)
        .Add("lockID", lockID_)
        .Add("timestamp", timestamp_)
        .Add("RFIDData", rfidData_)
        .Release();
}

}  // namespace Mux
