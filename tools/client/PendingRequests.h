#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "tools/client/Client.h"

namespace MuxClient {

// The requests of one connection that have no answer yet. Not for users of the library.
//
// Keeps to one request at a time for each gateway: the others wait until the one before them is answered or its time is
// over. The time of a request counts from sending. Requests that name no gateway are sent at once.
//
// Not thread-safe.
class PendingRequests {
  public:
    // Deadlines must not jump with the system's time.
    using Clock = std::chrono::steady_clock;
    using SendPacket = std::function<void(std::string packet)>;

    // `send` takes each packet when its turn has come, within Add(), Take() or TakeExpired().
    explicit PendingRequests(SendPacket send) : send_(std::move(send)) {}

    // Throws std::length_error when the text does not fit a packet, and std::invalid_argument when a request with that
    // identifier is pending. Nothing is sent or kept then.
    void Add(const Request& request, Client::AnswerHandler handler, std::chrono::milliseconds timeout);

    // Removes the sent request with this identifier and returns its handler. Empty when there is none, or nobody wants
    // the answer.
    Client::AnswerHandler Take(const std::string& id);

    // The same for a request whose time is over.
    Client::AnswerHandler TakeExpired();

    // When TakeExpired() will find a request; Clock::time_point::max() for never.
    Clock::time_point NextDeadline();

    // Nobody wants the answer any more. A request that was not sent yet is dropped; one that was keeps its gateway busy
    // as before.
    void Forget(const std::string& id);

  private:
    struct Pending {
        Client::AnswerHandler handler;
        std::chrono::milliseconds timeout;
        std::optional<std::int32_t> gateway;
        // Until it is sent.
        std::string packet;
        Clock::time_point deadline;
    };
    using Requests = std::map<std::string, Pending>;

    Requests::iterator NextToExpire();
    void Send(Pending& request);
    void SendNextTo(std::int32_t gateway);
    Client::AnswerHandler Remove(Requests::iterator position);

    SendPacket send_;
    Requests requests_;
    // For each busy gateway the identifiers in the order of sending; the first one is sent.
    std::map<std::int32_t, std::deque<std::string>> queues_;
};

}  // namespace MuxClient
