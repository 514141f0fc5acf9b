#include "mux/messages/MuxLockOperationResponsePayload.h"

#include "mux/messages/PayloadObject.h"

namespace Mux {

MuxLockOperationResponsePayload::MuxLockOperationResponsePayload(bool success, std::int32_t errorCode)
    : success_(success), errorCode_(errorCode) {}

rapidjson::Value* MuxLockOperationResponsePayload::ToJSONObject(rapidjson::Document* document) {
    return PayloadObject(document).Add("Success", success_).Add("ErrorCode", errorCode_).Release();
}

}  // namespace Mux
