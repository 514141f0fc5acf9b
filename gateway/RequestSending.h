#pragma once

#include "gateway/Connection.h"
#include "gateway/RequestQueue.h"
#include "gateway/WaitingRequests.h"
#include "messages/BrenkMessageBuilder.h"

namespace Brenk {

// Sends one request, which waits for its answer from before it is written, and moves the counters of `builder`, if
// there is one, on. A request that the connection fails to send is not sent again and waits all the same; one for
// which there is no memory does not wait, and the std::bad_alloc passes. Send thread.
void SendRequest(const RequestQueue::Request& request, Messages::BrenkMessageBuilder* builder, WaitingRequests& waiting,
                 Connection& connection);

}  // namespace Brenk
