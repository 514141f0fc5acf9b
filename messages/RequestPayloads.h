#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "messages/BrenkMessage.h"

namespace Brenk::Messages {

// The payload of a request defined by its command code and device address alone: no bytes.
class BrenkDeviceOnlyPayload : public BrenkMessagePayload {
  public:
    // `dataType` is the request's command code: disable whitelist, enable whitelist or access denied.
    explicit BrenkDeviceOnlyPayload(std::uint8_t dataType) : BrenkMessagePayload(dataType) {}
};

// Opens a lock that closes again by itself. Bytes: the value (1), which the lock reads as a duration in its own
// unit.
class BrenkShortTermActivationPayload : public BrenkMessagePayload {
  public:
    explicit BrenkShortTermActivationPayload(std::uint8_t value);

    std::vector<unsigned char>* Serialize() override;

  private:
    std::uint8_t value_;
};

// Opens a lock. Bytes: first value (2, big-endian), second value (2, big-endian); what they mean is the lock's
// affair. The gateway layer sends 0 and the time value of the request.
class BrenkLongTermActivationPayload : public BrenkMessagePayload {
  public:
    BrenkLongTermActivationPayload(std::uint16_t firstValue, std::uint16_t secondValue);

    std::vector<unsigned char>* Serialize() override;

  private:
    std::uint16_t firstValue_;
    std::uint16_t secondValue_;
};

// Closes a lock. Bytes: the value (2, big-endian), a delay in the lock's own unit.
class BrenkLongTermReleasePayload : public BrenkMessagePayload {
  public:
    explicit BrenkLongTermReleasePayload(std::uint16_t value);

    std::vector<unsigned char>* Serialize() override;

  private:
    std::uint16_t value_;
};

// One card that a lock's whitelist gains or loses. Bytes:
//
//   0  1  setup number (SetupNo in the log)
//   1  1  whitelist option
//   2  1  card data length L
//   3  L  card data: as supplied, or with setup number 0 as GenerateUIDData made it
class BrenkAddOrRemoveFromWhitelistPayload : public BrenkMessagePayload {
  public:
    // `uidMode` means that `cardData` is a card's UID; it counts only with setup number 0. Unusable card data is not an
    // error here: the payload is sent without card bytes, and the gateway's answer informs the client. Card data is
    // copied; of more than 255 bytes the length is taken modulo 256.
    BrenkAddOrRemoveFromWhitelistPayload(bool uidMode, std::uint8_t setupNumber, std::uint8_t whitelistOption,
                                         std::vector<unsigned char>& cardData);

    std::vector<unsigned char>* Serialize() override;

    // Returns card data as the gateway expects it, in a new array that the caller owns (delete[]):
    // - in UID mode 10 bytes, the UID's bytes in reverse order behind as many zeros as are needed;
    // - otherwise all of `data` as it is.
    // Null, with a log line, for empty data and for a UID of more than 10 bytes.
    static std::uint8_t* GenerateUIDData(bool uidMode, std::vector<unsigned char> data);

  private:
    std::uint8_t setupNumber_;
    std::uint8_t whitelistOption_;
    std::uint8_t cardDataLength_;
    std::unique_ptr<std::uint8_t[]> cardData_;
};

// The three markers below carry no bytes. BrenkMessageBuilder sends a BrenkDeviceOnlyPayload for each, which gives the
// same frame; the classes have their own data types for callers that must distinguish the requests.

// Refuses access after a card event.
class BrenkAccessDenied : public BrenkMessagePayload {
  public:
    BrenkAccessDenied() : BrenkMessagePayload(PayloadDataTypes::kAccessDenied) {}
};

// Lets a lock use its whitelist.
class BrenkActivateWhitelist : public BrenkMessagePayload {
  public:
    BrenkActivateWhitelist() : BrenkMessagePayload(PayloadDataTypes::kActivateWhitelist) {}
};

// Stops a lock from using its whitelist.
class BrenkDeactivateWhitelist : public BrenkMessagePayload {
  public:
    BrenkDeactivateWhitelist() : BrenkMessagePayload(PayloadDataTypes::kDeactivateWhitelist) {}
};

}  // namespace Brenk::Messages
