#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "proxy/requests/RequestKinds.h"
#include "tools/client/Request.h"

namespace MuxProxy {

// A client's request, checked: what the Mux would read in the client's text. A value.
struct ProxyRequest {
    const RequestKind* kind = nullptr;
    // The client's own, of any content and length; its answer repeats it.
    std::string clientId;
    MuxClient::LockAddress lock;
    // As the gateway gets it: 1 to 255, and 1 when the kind has none.
    std::uint8_t duration = 1;
    // Data in upper-case hexadecimal, two digits for each byte.
    MuxClient::Card card;
};

// A text that the Mux must not get, because it would end the Mux, or never be answered, or be refused by the Mux for
// its shape.
struct InvalidRequest {
    // Empty unless the text is an object with an identifier.
    std::string clientId;
    // For people: "/Data/duration is missing".
    std::string reason;
};

// Reads the text of a packet by the Mux's own rules: it ends at its first NUL; of two members with one name the first
// counts; a member of another type has its default; of a duration the low 8 bits count. Any thread.
std::variant<ProxyRequest, InvalidRequest> ReadRequest(std::string_view text);

// The request as the Mux gets it, written anew from the checked values, with a MessageID that was never used before.
// Any thread.
MuxClient::Request WriteRequest(const ProxyRequest& request);

}  // namespace MuxProxy
