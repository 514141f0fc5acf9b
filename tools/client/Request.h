#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/client/MessageCode.h"

namespace MuxClient {

// A lock, as the Mux's configuration names it: the gateway's ID and the lock's device address.
struct LockAddress {
    std::int32_t gateway = 0;
    std::int32_t lock = 0;
};

// The occasion of a request: a command, or the response to a card-reader event. These are different requests.
enum class Occasion { kCommand, kEvent };

// How many bytes a card in a whitelist request may have: as UID, and as anything else.
constexpr std::size_t kLongestUid = 10;
constexpr std::size_t kLongestCardData = 233;

// A card in a whitelist request.
struct Card {
    // Bytes in hexadecimal, as a card-reader event has them: "04A1B2C3".
    std::string data;
    // Whether the data is the card's UID.
    bool isUid = false;
    // The gateway takes the low 8 bits. The Mux sends 0 with a UID.
    std::uint32_t setupNumber = 0;
    // With an added card the gateway gets 1 when this is not 0.
    std::uint32_t options = 0;
};

// A request for the Mux, ready to be sent: its JSON text and the identifier that the answer repeats.
//
// The functions that make one give it a new identifier and the present time:
//
//     {"Timestamp":1700000000,"MessageID":"1b4e28ba-...","MessageCode":10,"Data":{"gatewayID":1,"lockID":5}}
//
// A value; copies are independent. Any thread may call the functions, and only Configure() throws.
struct Request {
    std::string id;
    std::string text;
    // The gateway that it names. A client sends each gateway one request at a time.
    std::optional<std::int32_t> gateway = std::nullopt;

    // Open the lock until it is closed, and close it.
    static Request Open(const LockAddress& lock, Occasion occasion = Occasion::kCommand);
    static Request Close(const LockAddress& lock, Occasion occasion = Occasion::kCommand);
    // Opens and closes again after `duration`, of which the gateway gets the low 8 bits, and 1 for 0.
    static Request OpenAndClose(const LockAddress& lock, std::uint32_t duration,
                                Occasion occasion = Occasion::kCommand);
    // Has the lock show that access is denied.
    static Request DenyAccess(const LockAddress& lock, Occasion occasion = Occasion::kCommand);
    // Asks for what Message::status then holds.
    static Request Status(const LockAddress& lock);

    // Neither looks at the card. Of a UID that is longer than kLongestUid the gateway gets no bytes at all; with other
    // data that is longer than kLongestCardData the Mux sends it a frame with wrong lengths.
    static Request AddToWhitelist(const LockAddress& lock, const Card& card);
    static Request RemoveFromWhitelist(const LockAddress& lock, const Card& card);
    // Removes all cards.
    static Request ClearWhitelist(const LockAddress& lock);
    // Let the lock admit the cards on its list by itself, or ignore the list.
    static Request EnableWhitelist(const LockAddress& lock);
    static Request DisableWhitelist(const LockAddress& lock);

    // These two are always refused with a NACK by the Mux itself, without any gateway.
    static Request GetWhitelist(const LockAddress& lock);
    static Request AllowAccess(const LockAddress& lock);

    // A configuration, a JSON object as text. The Mux writes a log line and does not answer. Throws
    // std::invalid_argument if the text is not a JSON object.
    static Request Configure(const std::string& configuration);

    // A text of one's own, sent as it is; it need not even be JSON. The identifier is its "MessageID", and empty when
    // there is none: the Mux answers such a request with an empty identifier. The gateway is the "gatewayID" of its
    // "Data", if that is an integer.
    static Request FromText(const std::string& text);
};

}  // namespace MuxClient
