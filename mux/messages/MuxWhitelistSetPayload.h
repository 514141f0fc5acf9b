#pragma once

#include <cstdint>
#include <vector>

#include "mux/messages/MuxLockRequestPayload.h"

namespace Mux {

// Asks to add a card to a lock's whitelist or to remove it; the code of the message tells which of the two:
// {"gatewayID":<integer>,"lockID":<integer>,"setupNumber":<integer>,"options":<integer>,
// "cardData":<hexadecimal digits>,"isUIDCard":<boolean>}.
class MuxWhitelistSetPayload : public MuxLockRequestPayload {
  public:
    // `cardData` holds the card's bytes as HexToBytes() gives them.
    MuxWhitelistSetPayload(std::int32_t gatewayID, std::int32_t lockID, bool isUIDCard, unsigned setupNumber,
                           unsigned options, std::vector<unsigned char> cardData);

    bool IsUIDCard() const { return isUIDCard_; }
    unsigned SetupNumber() const { return setupNumber_; }
    unsigned Options() const { return options_; }
    const std::vector<unsigned char>& CardData() const { return cardData_; }

    rapidjson::Value* ToJSONObject(rapidjson::Document* document) override;

  private:
    bool isUIDCard_;
    unsigned setupNumber_;
    unsigned options_;
    std::vector<unsigned char> cardData_;
};

}  // namespace Mux
