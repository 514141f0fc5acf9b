#include "mux/messages/RequestPayloads.h"

#include <memory>
#include <utility>

#include "json/Tree.h"
#include "mux/messages/CardData.h"

namespace Mux {

MuxLockRequestPayload::MuxLockRequestPayload(std::int32_t gatewayID, std::int32_t lockID)
    : gatewayID_(gatewayID), lockID_(lockID) {}

rapidjson::Value* MuxLockRequestPayload::ToJSONObject(rapidjson::Document* document) {
    return PayloadObject(document).Add("gatewayID", gatewayID_).Add("lockID", lockID_).Release();
}

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

MuxWhitelistSetPayload::MuxWhitelistSetPayload(std::int32_t gatewayID, std::int32_t lockID, bool isUIDCard,
                                               unsigned setupNumber, unsigned options,
                                               std::vector<unsigned char> cardData)
    : MuxLockRequestPayload(gatewayID, lockID),
      isUIDCard_(isUIDCard),
      setupNumber_(setupNumber),
      options_(options),
      cardData_(std::move(cardData)) {}

rapidjson::Value* MuxWhitelistSetPayload::ToJSONObject(rapidjson::Document* document) {
    return PayloadObject(document)
        .Add("gatewayID", GatewayID())
        .Add("lockID", LockID())
        .Add("setupNumber", setupNumber_)
        .Add("options", options_)
        .Add("cardData", CardDataToText(cardData_))
        .Add("isUIDCard", isUIDCard_)
        .Release();
}

MuxConfigureMessagePayload::MuxConfigureMessagePayload(rapidjson::Value&& data) {
    Json::Copy(data, data_, data_.GetAllocator());
    data.SetNull();
}

rapidjson::Value* MuxConfigureMessagePayload::ToJSONObject(rapidjson::Document* document) {
    auto object = std::make_unique<rapidjson::Value>(rapidjson::kObjectType);
    if (document != nullptr) {
        Json::Copy(data_, *object, document->GetAllocator());
    }
    return object.release();
}

}  // namespace Mux
