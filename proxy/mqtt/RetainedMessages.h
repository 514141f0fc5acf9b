#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <set>
#include <string>

#include "proxy/mqtt/BrokerPort.h"

namespace MuxProxy {

// Retained messages, of which only the last of each topic counts: they are published again with each connection, so
// that a broker that has forgotten them gets them back. For the network loop.
class RetainedMessages {
  public:
    static constexpr std::size_t kMostUnderWay = 20;

    // The broker outlives it.
    explicit RetainedMessages(BrokerPort& broker) : broker_(broker) {}

    void Set(const std::string& topic, std::string payload);
    void Opened(BrokerConnection connection);
    void Lost();
    // False if it is none of these. A refused one is published again with the next connection.
    bool Published(PublishNumber number);
    // All once more.
    void PublishAgain();

  private:
    struct Message {
        std::string payload;
        bool isDue = false;
    };

    void MakeDue(const std::string& topic, Message& message);
    void PublishDue();

    BrokerPort& broker_;
    BrokerConnection connection_ = 0;
    std::map<std::string, Message> messages_;
    // In the order in which they came to be due.
    std::deque<std::string> due_;
    std::set<PublishNumber> underWay_;
};

}  // namespace MuxProxy
