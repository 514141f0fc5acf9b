#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <list>
#include <memory>
#include <string>

#include "gateway/GatewayOwner.h"
#include "messages/BrenkMessage.h"
#include "threading/Synchronized.h"

namespace Brenk {

// One request on its way to a gateway: queued, then waiting for the gateway's answer.
//
// Filled before it is shared. The send thread sets the send time before it puts the request into the waiting map;
// afterwards it is not changed. Shared by the map and by the thread that is still logging its sending.
class MessageRequestInfo {
  public:
    MessageRequestInfo() = default;

    // Frees the message if there is one; the context is the caller's.
    ~MessageRequestInfo();

    MessageRequestInfo(const MessageRequestInfo&) = delete;
    MessageRequestInfo& operator=(const MessageRequestInfo&) = delete;

    // Whether the gateway object made this request itself to learn the gateway's sequence counter.
    bool IsSequenceRefresh() const;

    // Whether a request with this ID is such a refresh. A client whose MessageID holds the same mark is taken for one.
    static bool IsSequenceRefresh(const std::string& requestID);

    // What the ID of a sequence refresh begins with; a time stamp follows.
    static constexpr const char* kSequenceRefreshMark = "requestNewSEQID-";

    std::time_t enqueueTime = 0;
    std::time_t sendTime = 0;
    std::uint8_t referenceID = 0;  // key in the waiting map
    std::string id;                // the client's MessageID, or that of a sequence refresh
    std::unique_ptr<Messages::BrenkMessage> message;
    void* context = nullptr;  // the caller's, handed back with the answer
};

// The requests that are to be sent to one gateway, and when it is time for the next.
//
// First in, first out. Until the first request is taken, one is handed out only to a gateway that is READY, or
// CONNECTED when the request in front is the sequence refresh that makes it READY; from then on in every status.
//
// Any thread, except where an operation names one.
class RequestQueue {
  public:
    using Request = std::shared_ptr<MessageRequestInfo>;

    // Called once the gateway has an owner or connects. Until then the send thread leaves the queue alone.
    void Start();
    bool IsStarted() const;

    // Appends all requests of the list, which is empty then. Needs no memory.
    void Append(std::list<Request>& requests);

    // Takes the request in front if the gateway, which is in `status`, may be sent it. False when there is none.
    // Send thread.
    bool Take(VirtualGatewayStatuses status, Request& request);

    // Whether a keep-alive is due: 27 s after the last one, or the first. If so, the caller must queue it, and the 27 s
    // restart at `now`.
    bool BeginKeepAlive(std::time_t now);

    // When a request was sent last; 0 before the first.
    std::time_t LastSendTime() const;
    void SetLastSendTime(std::time_t time);

  private:
    bool MayTake(VirtualGatewayStatuses status, const Request& request) const;

    std::atomic<bool> isStarted_{false};
    bool hasTakenRequest_ = false;  // send thread only
    std::atomic<std::time_t> lastKeepAliveTime_{0};
    std::atomic<std::time_t> lastSendTime_{0};
    // A list, since an empty one holds no memory: most gateways' queues are empty most of the time.
    Threading::Synchronized<std::list<Request>> requests_;
};

}  // namespace Brenk
