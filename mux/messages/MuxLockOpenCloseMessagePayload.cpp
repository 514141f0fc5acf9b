#include "mux/messages/MuxLockOpenCloseMessagePayload.h"

#include "mux/messages/PayloadObject.h"

namespace Mux {

MuxLockOpenCloseMessagePayload::MuxLockOpenCloseMessagePayload(std::int32_t gatewayID, std::int32_t lockID,
                                                               std::uint8_t duration)
    : MuxLockRequestPayload(gatewayID, lockID), duration_(duration) {}

rapidjson::Value* MuxLockOpenCloseMessagePayload::ToJSONObject(rapidjson::Document* document) {
    return PayloadObject(document)
        .Add("gatewayID", GatewayID())
        .Add("lockID", LockID())
        .Add("duration", duration_)
        .Release();
}

}  // namespace Mux
