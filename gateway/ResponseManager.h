#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <memory>

#include "gateway/Connection.h"
#include "gateway/GatewayOwner.h"
#include "gateway/RequestQueue.h"
#include "gateway/WaitingRequests.h"
#include "messages/BrenkMessage.h"
#include "messages/BrenkMessageBuilder.h"

namespace Brenk {

// What is done with the frames that come from one gateway.
//
// A frame reaches the owner at most once. A request that is answered waits no longer. A sequence counter that the
// gateway announces is in the builder before the gateway becomes READY.
//
// Read thread, except where an operation names another. What is given to the constructor must outlive the object.
class ResponseManager {
  public:
    // `builder` may be null: an announced sequence counter is ignored then.
    ResponseManager(std::shared_ptr<Messages::BrenkMessageBuilder> builder, WaitingRequests& waiting,
                    Connection& connection, const OwnerLink& owner);

    // Passes on what a gateway sent unasked.
    void ManageEvent(const Messages::BrenkMessage& frame);

    // Finds the request that is answered, passes the answer on and frees the request. Takes the payload of a status
    // answer out of the frame. An exception of the owner passes and leaves the request waiting; a std::bad_alloc passes
    // too, but removes it.
    void ManageAnswer(Messages::BrenkMessage& frame, std::time_t receiveTime);

    // Whether the gateway has announced its sequence counter. Any thread.
    bool IsSequenceCounterKnown() const;
    void ForgetSequenceCounter();

  private:
    void ForwardAnswer(Messages::BrenkMessage& frame, const MessageRequestInfo& request);
    void ForwardStatus(Messages::BrenkMessage& frame, const MessageRequestInfo& request);
    void ForwardResult(const Messages::BrenkMessage& frame, const MessageRequestInfo& request);
    bool HandleResult(std::uint8_t code, std::uint32_t sequenceCounter, const MessageRequestInfo& request);
    void AdoptSequenceCounter(std::uint32_t sequenceCounter);

    const std::shared_ptr<Messages::BrenkMessageBuilder> builder_;
    WaitingRequests& waiting_;
    Connection& connection_;
    const OwnerLink& owner_;
    std::atomic<bool> sequenceCounterKnown_{false};
};

}  // namespace Brenk
