#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/client/Message.h"

namespace MuxProxy {

// Why the proxy itself refuses a request: the "ErrorCode" of its NACK.
using Refusal = MuxClient::ProxyError;

// The NACK to the request with this identifier. `detail` goes on behind the refusal's own text, may be empty. Any
// thread.
std::string NackText(const std::string& clientId, Refusal refusal, std::string_view detail = {});

// The result of a refusal in the audit: "not-allowed". Any thread.
const char* RefusalName(Refusal refusal);

// The result in the audit of a request with this answer: "ack", "nack", or the name of a refusal. Any thread.
std::string ResultName(const MuxClient::Message& answer);

// What a text of the Mux is. A value.
struct MuxText {
    std::string id;
    bool isEvent = false;
    bool isAck = false;
    // Of a NACK, otherwise 0.
    std::int32_t errorCode = 0;
    // Of an event: which, where, and the card's digits.
    std::int32_t code = 0;
    std::int32_t gateway = 0;
    std::uint16_t lockBits = 0;
    std::string card;
    // Of the ACK to a status request.
    std::optional<MuxClient::LockStatus> status;
};

// Throws MuxClient::ProtocolError if the text is none of a Mux. Any thread.
MuxText ReadMuxText(const std::string& text);

// The Mux's answer with the client's identifier in place of the proxy's; everything else stays as it is. Throws
// MuxClient::ProtocolError as above. Any thread.
std::string Readdressed(const std::string& text, const std::string& clientId);

}  // namespace MuxProxy
