#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "tests/support/TestClient.h"
#include "tests/system/support/MuxProcess.h"
#include "tests/system/support/Traffic.h"

namespace SystemTest {

// The packet with this text.
inline std::string Packet(std::string_view text) {
    const Testing::LoopbackSocket::Bytes bytes = Testing::Packet(text);
    return {bytes.begin(), bytes.end()};
}

// A client application that holds whatever it receives against the schemas.
class TestClient : public Testing::TestClient {
  public:
    using Testing::TestClient::TestClient;

    // As in the base. A failure is recorded when a text keeps neither the schema of answers nor that of events.
    std::string Receive(std::chrono::milliseconds deadline = kDeadline) {
        std::string text = Testing::TestClient::Receive(deadline);
        if (text != "(nothing)" && text != "(closed)") {
            ExpectAnswerOrEvent(text);
        }
        return text;
    }
};

}  // namespace SystemTest
