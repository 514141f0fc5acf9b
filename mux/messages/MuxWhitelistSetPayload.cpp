#include "mux/messages/MuxWhitelistSetPayload.h"

#include <utility>

#include "mux/messages/CardData.h"
#include "mux/messages/PayloadObject.h"

namespace Mux {

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
        .Add("cardData", BytesToHex(cardData_))
        .Add("isUIDCard", isUIDCard_)
        .Release();
}

}  // namespace Mux
