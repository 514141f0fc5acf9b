#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace MuxProxy {

// A message for the broker. A value.
struct OutboxMessage {
    // Its place in the outbox; given when it is handed over.
    std::int64_t number = 0;
    // "FILE-NUMBER": the same whenever the message is read, and never another one's. The payload is without it.
    std::string id;
    std::chrono::system_clock::time_point time = std::chrono::system_clock::now();
    std::string topic;
    // UTF-8.
    std::string payload;
    // Any bytes, which go with the message as the property of this name; empty for none.
    std::string correlationData;
};

using OutboxMessages = std::vector<OutboxMessage>;

}  // namespace MuxProxy
