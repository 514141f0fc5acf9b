#pragma once

#include "gateway/Connection.h"
#include "gateway/RequestQueue.h"
#include "gateway/WaitingRequests.h"
#include "messages/BrenkMessageBuilder.h"

namespace Brenk {

// Sends one request, which is registered as waiting before it is written, and advances the counters of `builder`, if
// any. A request that the connection fails to send is not repeated and stays registered; without memory it is not
// registered, and the std::bad_alloc passes. Send thread.
void SendRequest(const RequestQueue::Request& request, Messages::BrenkMessageBuilder* builder, WaitingRequests& waiting,
                 Connection& connection);

}  // namespace Brenk
