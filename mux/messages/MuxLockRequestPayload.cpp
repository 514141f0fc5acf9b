#include "mux/messages/MuxLockRequestPayload.h"

#include "mux/messages/PayloadObject.h"

namespace Mux {

MuxLockRequestPayload::MuxLockRequestPayload(std::int32_t gatewayID, std::int32_t lockID)
    : gatewayID_(gatewayID), lockID_(lockID) {}

rapidjson::Value* MuxLockRequestPayload::ToJSONObject(rapidjson::Document* document) {
    return PayloadObject(document).Add("gatewayID", gatewayID_).Add("lockID", lockID_).Release();
}

}  // namespace Mux
