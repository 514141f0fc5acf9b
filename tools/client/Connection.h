#pragma once

#include "tools/client/Asio.h"

#include <array>
#include <chrono>
#include <deque>
#include <exception>
#include <string>

#include "tools/client/Client.h"
#include "tools/client/PendingRequests.h"
#include "tools/client/Stream.h"
#include "tools/client/TextCutter.h"

namespace MuxClient {

// Implementation of Client. Not for users of the library.
//
// The loop runs only within the methods. Its handlers only move bytes; users' handlers are called outside of them, so
// that their exceptions leave a consistent state.
class Client::Connection {
  public:
    using Clock = PendingRequests::Clock;

    // Throws ConnectionError without a connection within the time-out.
    Connection(const MuxAddress& address, std::chrono::milliseconds timeout);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Replaces the handler; empty for none.
    void OnEvent(EventHandler handler) { onEvent_ = std::move(handler); }
    // The requests whose handlers Wait() calls, with the answer or when the time is over.
    PendingRequests& Requests() { return requests_; }
    // Takes a packet to be sent by the loop.
    void Send(std::string packet);
    // Runs the loop until all packets are out. Throws ConnectionError when they are not within the time.
    void Flush(std::chrono::milliseconds timeout);
    // As that of the Client.
    bool Wait(std::chrono::milliseconds duration);

  private:
    void Connect(const MuxAddress& address, std::chrono::milliseconds timeout);
    void NoticeDeadPeers();
    void StartReceiving();
    void OnReceived(const asio::error_code& error, std::size_t count);
    void StartSending();
    void OnSent(const asio::error_code& error);
    void Fail(const asio::error_code& error);

    // Reads what has come, up to the first messages.
    void TakeWhatIsThere();
    // Runs one handler of the loop; false when there was none until then. Throws when the connection has failed.
    bool RunLoop(Clock::time_point end);
    // Deliver one message, or one time-out; false if no handler was called.
    bool DeliverMessage();
    bool Deliver(const Message& message);
    bool DeliverTimeout();

    std::string name_;
    asio::io_context loop_{1};
    Stream stream_;
    std::array<char, 16384> chunk_ = {};
    TextCutter cutter_;
    std::deque<Message> received_;
    std::deque<std::string> outbox_;
    // Why the connection is unusable.
    std::exception_ptr failure_;
    EventHandler onEvent_;
    PendingRequests requests_{[this](std::string packet) { Send(std::move(packet)); }};
};

}  // namespace MuxClient
