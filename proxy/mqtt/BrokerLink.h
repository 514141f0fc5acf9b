#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <thread>

#include "proxy/mqtt/BrokerPort.h"
#include "proxy/mqtt/BrokerSession.h"
#include "proxy/mqtt/ReconnectDelays.h"

namespace MuxProxy {

// The one connection to the broker, on a thread of its own: comes back by itself, publishes that the site is online,
// and subscribes.
//
// What is published waits in memory until the broker has taken it, without a bound: publish the next messages when the
// first were reported.
class BrokerLink : public BrokerPort {
  public:
    // So many received messages, of so many bytes, may wait for MessageTaken() before no more are read.
    static constexpr std::size_t kMostUntaken = 256;
    static constexpr std::size_t kMostUntakenBytes = 4U << 20U;
    // The longest that the destructor takes.
    static constexpr std::chrono::milliseconds kLongestEnd{2000};

    // `events` is called on the link's thread, and outlives the link. Throws std::system_error if no thread can be
    // started.
    BrokerLink(const BrokerSettings& settings, BrokerEvents& events, const DelaySettings& delays = {});
    // Ends, and waits for it. Nothing is reported any more when it returns.
    ~BrokerLink() override;
    BrokerLink(const BrokerLink&) = delete;
    BrokerLink& operator=(const BrokerLink&) = delete;

    PublishNumber Publish(BrokerConnection connection, BrokerMessage message) override;
    // Begins to end: publishes that the site is offline if the broker takes it. Any thread.
    void End();
    // The oldest received message that waits was handled. Any thread.
    void MessageTaken();

  private:
    class Worker;
    // The thread owns it too: it may be looking a name up, which cannot be interrupted, when the link ends.
    std::shared_ptr<Worker> worker_;
    std::thread thread_;
};

}  // namespace MuxProxy
