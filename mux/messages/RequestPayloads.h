#pragma once

#include <cstdint>
#include <vector>

#include "mux/messages/Payload.h"

// The payloads of the messages that clients send.
namespace Mux {

// A request that names a gateway and a lock: {"gatewayID":<integer>,"lockID":<integer>}.
//
// The base of every request that is routed to a gateway; the derived class defines the operation.
class MuxLockRequestPayload : public MuxMessagePayloadBase {
  public:
    // `gatewayID` is the gateway's number in the configuration, `lockID` the lock's device address on it.
    MuxLockRequestPayload(std::int32_t gatewayID, std::int32_t lockID);

    std::int32_t GatewayID() const { return gatewayID_; }
    std::int32_t LockID() const { return lockID_; }

    rapidjson::Value* ToJSONObject(rapidjson::Document* document) override;

  private:
    std::int32_t gatewayID_;
    std::int32_t lockID_;
};

// Asks to open a lock, or to open it as the answer to a card-reader event.
class MuxLockOpenMessagePayload : public MuxLockRequestPayload {
  public:
    using MuxLockRequestPayload::MuxLockRequestPayload;
};

// Asks to close a lock, or to close it as the answer to a card-reader event.
class MuxLockCloseMessagePayload : public MuxLockRequestPayload {
  public:
    using MuxLockRequestPayload::MuxLockRequestPayload;
};

// Asks for the state of a lock.
class MuxGetLockStatusMessagePayload : public MuxLockRequestPayload {
  public:
    using MuxLockRequestPayload::MuxLockRequestPayload;
};

// Asks a lock to show that access is denied, or answers a card-reader event so.
class MuxAccessDeniedMessagePayload : public MuxLockRequestPayload {
  public:
    using MuxLockRequestPayload::MuxLockRequestPayload;
};

// Asks to remove all cards from a lock's whitelist.
class MuxWhitelistClearPayload : public MuxLockRequestPayload {
  public:
    using MuxLockRequestPayload::MuxLockRequestPayload;
};

// Asks a lock to use its whitelist.
class MuxWhitelistEnablePayload : public MuxLockRequestPayload {
  public:
    using MuxLockRequestPayload::MuxLockRequestPayload;
};

// Asks a lock to use its whitelist no more.
class MuxWhitelistDisablePayload : public MuxLockRequestPayload {
  public:
    using MuxLockRequestPayload::MuxLockRequestPayload;
};

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

// Adds a card to a lock's whitelist or removes it, depending on the code of the message:
// {"gatewayID":<integer>,"lockID":<integer>,"setupNumber":<integer>,"options":<integer>,
// "cardData":<hexadecimal digits>,"isUIDCard":<boolean>}.
class MuxWhitelistSetPayload : public MuxLockRequestPayload {
  public:
    // `cardData` holds the card's bytes as CardDataFromText() gives them.
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

// A configuration that a client sent: the "Data" value as it came, with the keys of the configuration file.
class MuxConfigureMessagePayload : public MuxMessagePayloadBase {
  public:
    // Takes `data` over and leaves it null. What is kept lives in memory of the payload's own, so the document that
    // `data` belongs to may go away.
    explicit MuxConfigureMessagePayload(rapidjson::Value&& data);

    const rapidjson::Value& Data() const { return data_; }

    rapidjson::Value* ToJSONObject(rapidjson::Document* document) override;

  private:
    rapidjson::Document data_;
};

}  // namespace Mux
