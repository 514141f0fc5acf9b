#pragma once

#include <string>
#include <utility>
#include <vector>

#include "proxy/mqtt/BrokerPort.h"

namespace MuxProxy {

// A broker that keeps what it is handed.
class RecordedBroker : public BrokerPort {
  public:
    PublishNumber Publish(BrokerConnection connection, BrokerMessage message) override {
        connections.push_back(connection);
        messages.push_back(std::move(message));
        return messages.size();
    }

    // Those since the last call: topic, payload and correlation data.
    std::vector<std::string> Taken() {
        std::vector<std::string> texts;
        for (; taken_ < messages.size(); ++taken_) {
            const BrokerMessage& message = messages[taken_];
            texts.push_back(message.topic + ' ' + message.payload +
                            (message.correlationData.empty() ? "" : ' ' + message.correlationData));
        }
        return texts;
    }

    std::vector<BrokerConnection> connections;
    // The number of a message is its place, counted from 1.
    std::vector<BrokerMessage> messages;

  private:
    std::size_t taken_ = 0;
};

}  // namespace MuxProxy
