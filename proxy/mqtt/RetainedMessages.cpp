#include "proxy/mqtt/RetainedMessages.h"

#include <utility>

namespace MuxProxy {

void RetainedMessages::Set(const std::string& topic, std::string payload) {
    Message& message = messages_[topic];
    message.payload = std::move(payload);
    MakeDue(topic, message);
    PublishDue();
}

void RetainedMessages::Opened(BrokerConnection connection) {
    Lost();
    connection_ = connection;
    PublishAgain();
}

void RetainedMessages::Lost() {
    connection_ = 0;
    underWay_.clear();
}

bool RetainedMessages::Published(PublishNumber number) {
    if (underWay_.erase(number) == 0) {
        return false;
    }
    PublishDue();
    return true;
}

void RetainedMessages::PublishAgain() {
    for (auto& [topic, message] : messages_) {
        MakeDue(topic, message);
    }
    PublishDue();
}

void RetainedMessages::MakeDue(const std::string& topic, Message& message) {
    if (!std::exchange(message.isDue, true)) {
        due_.push_back(topic);
    }
}

void RetainedMessages::PublishDue() {
    while (connection_ != 0 && !due_.empty() && underWay_.size() < kMostUnderWay) {
        const std::string topic = std::move(due_.front());
        due_.pop_front();
        Message& message = messages_.at(topic);
        message.isDue = false;
        underWay_.insert(broker_.Publish(connection_, {topic, message.payload, 1, true}));
    }
}

}  // namespace MuxProxy
