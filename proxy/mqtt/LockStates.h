#pragma once

#include <chrono>

#include "proxy/mqtt/RetainedMessages.h"
#include "proxy/mqtt/Topics.h"
#include "tools/client/Message.h"

namespace MuxProxy {

// The last status of each lock, retained at the broker. For the network loop.
class LockStates {
  public:
    // The broker outlives it.
    LockStates(BrokerPort& broker, Topics topics);

    void StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status,
                    std::chrono::system_clock::time_point now);

    RetainedMessages& Messages() { return messages_; }

  private:
    const Topics topics_;
    RetainedMessages messages_;
};

}  // namespace MuxProxy
