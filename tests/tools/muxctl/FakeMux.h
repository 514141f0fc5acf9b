#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/LoopbackSocket.h"

namespace Muxctl {

// The Mux's end of a client's connection, played by the test.
//
// For one thread.
class FakeMux {
  public:
    std::uint16_t Port() const { return static_cast<std::uint16_t>(listener_.Port()); }
    // "--port" and its number.
    std::vector<std::string> PortArguments() const { return {"--port", std::to_string(Port())}; }

    // Takes the next client up.
    void Accept() { client_ = listener_.Accept(); }
    // The text of the client's next packet.
    std::string ReceiveText();
    void Send(const std::string& text) { client_.Send({text.begin(), text.end()}); }
    // Sends an answer with the identifier of `request`.
    void Answer(const std::string& request, int code, const std::string& data);
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
