#pragma once

#include <atomic>
#include <ctime>
#include <list>
#include <memory>

#include "gateway/MessageRequestInfo.h"
#include "gateway/VirtualGatewayStatuses.h"
#include "threading/Synchronized.h"

namespace Brenk {

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

    // Whether a keep-alive is due: 27 s after the last one, or the first. If it is, the caller has to queue it, and the
    // 27 s begin anew at `now`.
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
