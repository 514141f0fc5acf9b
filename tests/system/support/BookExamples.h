#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/docs/support/Book.h"
#include "tools/gateway-simulator/Bytes.h"

namespace SystemTest {

const Documents::Book& ClientBook();
const Documents::Book& GatewayBook();
const Documents::Book& ConfigurationBook();

// What the client book says of one request, and the gateway book of its road.
struct Conversation {
    std::string name;
    std::string request;
    std::string answer;
    // The frame that the gateway gets; nothing when the gateway book has no example of that name.
    std::optional<Simulator::Bytes> frame;
    // What the gateway answers, as far as there is a frame.
    Simulator::Bytes gatewayAnswer;
};

// One for each request of the client book. Throws when the books have no answer to one.
std::vector<Conversation> Conversations();

// The bytes of an example in hexadecimal.
Simulator::Bytes BytesOf(const Documents::Example& example);

// The text with T in place of every time in it: what remains is the same at all times.
std::string WithoutTimes(std::string text);

// The frame with reference ID and sequence counter of another one, and the checksum that belongs to them. Throws for
// bytes that are no good frame.
Simulator::Bytes WithNumbersOf(const Simulator::Bytes& other, const Simulator::Bytes& frame);

}  // namespace SystemTest
