#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "net/ServerSocket.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/LoopbackSocket.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/TestClient.h"

namespace Testing {

// What a callback of the server socket said.
struct ServerEvent {
    std::string what;  // "accepted", "deleted", "received", "sent"
    int descriptor = -1;
    std::vector<unsigned char> packet = {};  // "received"
    int bytesSent = 0;                       // "sent"
    std::size_t connected = 0;               // how many clients were connected meanwhile
    std::thread::id thread = {};             // on which it came
};

// A ServerSocket on a free port whose callbacks are noted.
class TestServer : public testing::Test {
  protected:
    using Bytes = std::vector<unsigned char>;

    TestServer();
    ~TestServer() override;

    // Listens and starts the accept loop, and with StartAll the receive loop too.
    void StartAccepting();
    void StartAll();

    // Connects a client and waits until the server has it; its descriptor on the server's side is then the newest.
    LoopbackSocket ConnectClient();

    // The descriptor of the client that was accepted last.
    int NewestDescriptor() const;

    std::vector<ServerEvent> Events() const;

    // All events in the form "accepted 7".
    std::vector<std::string> EventNames() const;
    int Count(const std::string& what) const;

    // The packets that a client sent, in order.
    std::vector<Bytes> PacketsFrom(int descriptor) const;

    // Wait until so many of these events have come; false at the deadline.
    bool WaitForEvents(const std::string& what, int count) const;

    // The packet with this text: length, "MUXM", text.
    static Bytes PacketWith(const std::string& text) { return Packet(text); }

    ReservedPort port_;
    CapturedLog log_;
    std::unique_ptr<Brenk::Net::ServerSocket> server_;

  private:
    static void OnAccepted(int descriptor, void* context);
    static void OnDeleted(int descriptor, void* context);
    static void OnReceived(int descriptor, std::vector<unsigned char>* packet, void* context);
    static void OnSent(int descriptor, int bytesSent, void* context);
    void Note(ServerEvent event);

    // For the callbacks, which may still come while the server is being destroyed.
    Brenk::Net::ServerSocket* const observed_;
    mutable std::mutex mutex_;
    std::vector<ServerEvent> events_;
};

}  // namespace Testing
