#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/LoopbackSocket.h"

namespace Muxctl {

constexpr const char* kAckData = R"({"Success":true,"ErrorCode":0})";

// The Mux's end of a client's connection, played by the test.
//
// For one thread.
class FakeMux {
  public:
    std::uint16_t Port() const { return static_cast<std::uint16_t>(listener_.Port()); }

    // Takes the next client up.
    void Accept() { client_ = listener_.Accept(); }
    // The text of the client's next packet.
    std::string ReceiveText();
    void Send(const std::string& text) { client_.Send({text.begin(), text.end()}); }
    // Sends an answer with the identifier of `request`.
    void Answer(const std::string& request, int code, const std::string& data);
    // Receives a request, answers it and returns its text.
    std::string AnswerNext(int code = 0, const std::string& data = kAckData);
    // The same for all requests until the client goes.
    std::vector<std::string> AnswerAll();
    // Whether nothing more comes from the client for a moment.
    bool IsQuiet() const { return client_.IsQuietFor(std::chrono::milliseconds(100)); }
    void HangUp() { client_.Close(); }

  private:
    Testing::LoopbackSocket listener_ = Testing::LoopbackSocket::Listening();
    Testing::LoopbackSocket client_;
};

// The value of "MessageID" in a request; empty when there is none.
std::string IdIn(const std::string& request);

// What stands behind the value of "MessageID" and its comma.
std::string BehindTheIdIn(const std::string& request);

}  // namespace Muxctl
