#pragma once

#include <cstdint>
#include <string_view>

#include "tools/client/MessageCode.h"
#include "tools/client/Request.h"

namespace MuxProxy {

// What a rule allows. Whoever may do an operation may do it as a command and in response to a card event.
enum class Right : std::uint8_t { kOpen, kClose, kOpenClose, kStatus, kAccessDenied, kWhitelist, kEvents };

constexpr std::size_t kRightCount = 7;

// The name of a right in the configuration file and in texts: "open-close". Any thread.
std::string_view RightName(Right right);

struct ProxyRequest;

// A request that a client may send: one row per code. All rows exist for the life of the program.
struct RequestKind {
    MuxClient::MessageCode code;
    // In the audit: "whitelist-add".
    const char* name;
    Right right;
    // Whether it moves a lock or changes a whitelist, so that it must be on disk before it is sent.
    bool changes;
    bool hasDuration;
    bool hasCard;
    // Writes one for the Mux, with a MessageID that was never used before. Any thread.
    MuxClient::Request (*write)(const ProxyRequest& request);
};

// Null for a code that no gateway executes. Any thread.
const RequestKind* FindRequestKind(std::int32_t code);
// Null for another name than one of a row. Any thread.
const RequestKind* FindRequestKind(std::string_view name);

}  // namespace MuxProxy
