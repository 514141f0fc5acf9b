#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "messages/BrenkMessagePayload.h"

namespace Brenk::Messages {

// One card that a lock's whitelist gains or loses. Bytes:
//
//   0  1  setup number (SetupNo in the log)
//   1  1  whitelist option
//   2  1  card data length L
//   3  L  card data: as supplied, or with setup number 0 as GenerateUIDData made it
class BrenkAddOrRemoveFromWhitelistPayload : public BrenkMessagePayload {
  public:
    // `uidMode` says that `cardData` is a card's UID; it counts only with setup number 0. Card data that cannot be
    // used is no error here: the payload is then sent without card bytes, and the gateway's answer tells the client.
    // Card data is copied; of more than 255 bytes the length is taken modulo 256.
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

}  // namespace Brenk::Messages
