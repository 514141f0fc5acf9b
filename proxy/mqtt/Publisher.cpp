#include "proxy/mqtt/Publisher.h"

#include <algorithm>
#include <utility>

#include "proxy/requests/JsonObject.h"

namespace MuxProxy {

void Publisher::Opened(BrokerConnection connection) {
    Lost();
    connection_ = connection;
    mayHaveMore_ = true;
    ReadNext();
}

void Publisher::Lost() {
    connection_ = 0;
    underWay_.clear();
    nextTrial_.reset();
}

void Publisher::MessagesCame() {
    mayHaveMore_ = true;
    ReadNext();
}

void Publisher::ReadNext() {
    const bool hasRoom = underWay_.size() < kMostUnderWay && !nextTrial_;
    if (connection_ == 0 || isReading_ || !mayHaveMore_ || !hasRoom) {
        return;
    }
    isReading_ = true;
    mayHaveMore_ = false;
    const std::int64_t after = underWay_.empty() ? removed_ : underWay_.back().message.number;
    const std::size_t count = kMostUnderWay - underWay_.size();
    outbox_.ReadMessages(after, count, [this, connection = connection_, count](OutboxMessages messages) {
        Take(connection, count, std::move(messages));
    });
}

// What was read for an earlier connection is read again.
void Publisher::Take(BrokerConnection connection, std::size_t asked, OutboxMessages messages) {
    isReading_ = false;
    mayHaveMore_ = mayHaveMore_ || messages.size() == asked || connection != connection_;
    if (connection == connection_) {
        for (OutboxMessage& message : messages) {
            HandOver(underWay_.emplace_back(UnderWay{std::move(message)}));
        }
    }
    ReadNext();
}

void Publisher::HandOver(UnderWay& entry) {
    const OutboxMessage& message = entry.message;
    entry.state = State::kUnderWay;
    entry.number = broker_.Publish(connection_, {message.topic, WithFirstText("id", message.id, message.payload), 1,
                                                 false, "", message.correlationData});
}

bool Publisher::Published(PublishNumber number, PublishResult result, Time now) {
    const auto entry = std::find_if(underWay_.begin(), underWay_.end(),
                                    [number](const UnderWay& one) { return one.number == number; });
    if (entry == underWay_.end()) {
        return false;
    }
    if (result == PublishResult::kRefused && !isAnswer_(entry->message)) {
        entry->state = State::kRefused;
        nextTrial_ = now + kBetweenTrials;
    } else {
        result == PublishResult::kTaken ? static_cast<void>(0) : outbox_.CountDropped();
        entry->state = State::kDone;
        RemoveDone();
        ReadNext();
    }
    return true;
}

void Publisher::RemoveDone() {
    const std::int64_t before = removed_;
    while (!underWay_.empty() && underWay_.front().state == State::kDone) {
        removed_ = underWay_.front().message.number;
        underWay_.pop_front();
    }
    if (removed_ != before) {
        outbox_.RemoveMessages(removed_);
    }
}

void Publisher::Advance(Time now) {
    if (!nextTrial_ || now < *nextTrial_) {
        return;
    }
    nextTrial_.reset();
    for (UnderWay& entry : underWay_) {
        if (entry.state == State::kRefused) {
            HandOver(entry);
        }
    }
    ReadNext();
}

}  // namespace MuxProxy
