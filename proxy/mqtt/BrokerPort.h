#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace MuxProxy {

// A message to or from the broker. A value.
struct BrokerMessage {
    std::string topic;
    std::string payload;
    // 0 or 1.
    int qos = 1;
    bool isRetained = false;
    // MQTT 5 properties of the same names; empty for none. Of sent messages only the correlation data is used.
    std::string responseTopic = {};
    std::string correlationData = {};
};

// Of one life of the connection to the broker: what is published for another one is dropped. 0 is none.
using BrokerConnection = std::uint64_t;
using PublishNumber = std::uint64_t;

enum class PublishResult {
    kTaken,
    // Not now: rights, quota. It may be tried again.
    kRefused,
    // Never: too long, a topic that the broker does not allow.
    kImpossible,
};

// Where messages go to the broker.
class BrokerPort {
  public:
    virtual ~BrokerPort() = default;
    // Returns a number that was never used before, under which BrokerPublished() reports the message, unless the
    // connection is lost first. A message for a connection that is not the present one is dropped. Any thread.
    virtual PublishNumber Publish(BrokerConnection connection, BrokerMessage message) = 0;
};

// What the connection to the broker reports. Whatever one of these throws ends the connection, which comes back.
class BrokerEvents {
  public:
    virtual ~BrokerEvents() = default;
    // Connected and subscribed to.
    virtual void BrokerOpened(BrokerConnection connection) = 0;
    virtual void BrokerReceived(BrokerMessage message) = 0;
    // The broker has the message (QoS 0: it was written), or does not take it.
    virtual void BrokerPublished(PublishNumber number, PublishResult result) = 0;
    // The connection is gone and comes back by itself. `reason` is for people.
    virtual void BrokerLost(const std::string& reason) = 0;
    // A first attempt, or one after a loss, has failed. Not repeated for the following ones.
    virtual void BrokerFailed(const std::string& reason) = 0;
    // Something that people should look after, while the connection goes on. A sentence without a full stop.
    virtual void BrokerComplained(const std::string& complaint) = 0;
};

}  // namespace MuxProxy
