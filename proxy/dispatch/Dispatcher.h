#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

#include "proxy/audit/AuditLog.h"
#include "proxy/dispatch/Answers.h"
#include "proxy/dispatch/GivenUp.h"
#include "proxy/queue/GatewayQueue.h"
#include "proxy/requests/ProxyRequest.h"
#include "proxy/rights/Rights.h"

namespace MuxProxy {

using ConnectionNumber = std::uint64_t;

// Who is connected. A value.
struct ClientIdentity {
    // The common name of its certificate, or who asks by the broker; empty for the proxy itself, which may do
    // everything.
    std::string name;
    std::string address;
    bool wantsEvents = true;
};

// A request that was taken. No copy.
struct TakenRequest {
    RequestNumber number;
    // The name of its client.
    const std::string& client;
    const ProxyRequest& content;
};

// How a request ended, as its row says. No copy.
struct RequestEnding {
    const std::string& result;
    std::int32_t errorCode;
    std::chrono::milliseconds elapsed;
};

// What the dispatcher needs of the world around it. Called by the thread that calls the dispatcher; none of these calls
// it back.
class DispatcherPorts {
  public:
    virtual ~DispatcherPorts() = default;
    // The clock of the queues.
    virtual Time Now() const = 0;
    virtual void SendToClient(ConnectionNumber connection, const std::string& text) = 0;
    // Only between Dispatcher::MuxConnected() and MuxLost().
    virtual void SendToMux(const std::string& text) = 0;
    // Where the audit's thread hands its news over to the network loop, which then calls Dispatcher::Audited().
    virtual void PostAudited(RequestNumber request, bool isWritten) = 0;
    // Somebody asked for the status of a lock, and this is it.
    virtual void StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status) = 0;

    // For those who follow what happens; most do not. An event comes as its row, with the whole card and without the
    // digits of a PIN. Each request that is taken ends once.
    virtual void EventCame(const AuditRow& event) { static_cast<void>(event); }
    virtual void RequestTaken(const TakenRequest& request) { static_cast<void>(request); }
    virtual void RequestEnded(const TakenRequest& request, const RequestEnding& ending) {
        static_cast<void>(request);
        static_cast<void>(ending);
    }
};

// From a client's text to its one answer: checks rights, audits, queues, sends under an identifier of the proxy's own
// and gives the answer back under the client's. Every request that Received() takes is answered exactly once, by the
// Mux or by a NACK of the proxy, unless its client goes first.
//
// Turns, and how much may wait, are counted by client, however many connections it has. Knows nothing of sockets. All
// of it runs on the network loop.
class Dispatcher {
  public:
    // `ports` and `audit` outlive the dispatcher.
    Dispatcher(DispatcherPorts& ports, AuditLog& audit, std::shared_ptr<const Rights> rights);

    // What is not sent yet and not allowed any more is refused.
    void SetRights(std::shared_ptr<const Rights> rights);

    ConnectionNumber Connected(ClientIdentity client);
    // What waits there is dropped unsent; what was sent runs on without it. The number is known.
    void Disconnected(ConnectionNumber connection);
    // The text of one packet. False if it was refused at once. The number is known.
    bool Received(ConnectionNumber connection, std::string_view text);

    // The proxy ends: so does every request, and those that still come are refused.
    void EndAll();

    // The row of a request is on disk, or cannot be written.
    void Audited(RequestNumber request, bool isWritten);

    void MuxConnected();
    void MuxLost();
    // One whole text of the Mux. Throws MuxClient::ProtocolError if it is none of a Mux.
    void MuxSent(const std::string& text);

    // Sends and ends what is due.
    void Advance();
    // When Advance() is due again, unless something happens before.
    std::optional<Time> NextTime() const;

    bool IsMuxReady() const;
    // Whether a request to this gateway would go at once.
    bool IsFree(std::int32_t gateway) const;
    // How many requests wait for each gateway or for its answer; those to which none does are left out.
    std::map<std::int32_t, std::size_t> QueueLengths() const;
    // Gateways that left several requests in a row unanswered, and get one a minute.
    std::set<std::int32_t> SilentGateways() const;

  private:
    enum class State : std::uint8_t { kAuditing, kQueued, kSent };

    struct Request {
        ProxyRequest content;
        ConnectionNumber connection;
        // The name of its client.
        std::string client;
        Time received;
        State state = State::kAuditing;
        // Under which the Mux knows it, once it was sent.
        std::string muxId;
    };

    // What one client has under way.
    struct Load {
        std::size_t requests = 0;
        std::size_t bytes = 0;
    };

    bool Refuse(ConnectionNumber connection, AuditRow row, const std::string& id, Refusal refusal,
                const std::string& detail);
    bool HasRoom(const std::string& client, const ProxyRequest& request) const;
    bool Accept(ConnectionNumber connection, ProxyRequest content, AuditRow row);
    // False if the queue refused it.
    bool Enqueue(RequestNumber number);
    void AdvanceQueue(std::int32_t gateway);
    // Ends requests whose rows the disk does not take.
    void EndUnaudited();
    void ForgetAudited();
    void Send(RequestNumber number);
    void EndByQueue(const QueueWork::Ended& ended);
    // Ends a request with a NACK of the proxy.
    void End(RequestNumber number, Refusal refusal, const char* detail);
    // Answers the client if it is still there, completes the row and forgets the request.
    void Complete(RequestNumber number, const std::string& answer, const std::string& result, std::int32_t errorCode,
                  const std::string& remark);
    // Takes it out of its queue, if it waits in one.
    void Withdraw(RequestNumber number);
    void Drop(RequestNumber number);
    void TakeAnswer(const MuxText& read, const std::string& text);
    void TakeLateAnswer(const MuxText& read);
    void TakeEvent(const MuxText& read, const std::string& text);
    bool MayDo(const std::string& client, const ProxyRequest& request) const;

    DispatcherPorts& ports_;
    AuditLog& audit_;
    std::shared_ptr<const Rights> rights_;
    std::map<ConnectionNumber, ClientIdentity> connections_;
    // By the client's name; none that is empty.
    std::map<std::string, Load> loads_;
    std::map<RequestNumber, Request> requests_;
    std::unordered_map<std::string, RequestNumber> sent_;
    GivenUp givenUp_;
    std::map<std::int32_t, GatewayQueue> queues_;
    // Those whose rows are on their way to the disk, oldest first. Others than the first may have ended.
    std::deque<RequestNumber> auditing_;
    ConnectionNumber lastConnection_ = 0;
    RequestNumber lastRequest_ = 0;
    // Before this time nothing is sent; nothing without a connection.
    std::optional<Time> muxReady_;
    bool isEnding_ = false;
};

}  // namespace MuxProxy
