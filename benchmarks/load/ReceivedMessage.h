#pragma once

#include <string>

namespace Load {

// What a measurement looks at in a JSON text from the server.
struct ReceivedMessage {
    int code = -1;
    std::string id;
    // Of a card event, in hexadecimal digits; else empty.
    std::string card;
};

constexpr int kAck = 0;
constexpr int kNack = 1;
constexpr int kCardEvent = 51;

// Throws std::runtime_error for a text that is not a message.
ReceivedMessage ParseReceived(const std::string& text);

}  // namespace Load
