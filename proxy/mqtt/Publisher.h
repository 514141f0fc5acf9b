#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <utility>

#include "proxy/audit/OutboxMessage.h"
#include "proxy/mqtt/BrokerPort.h"

namespace MuxProxy {

// Where messages wait until the broker has them.
class OutboxPort {
  public:
    // Called later on the publisher's thread.
    using Reader = std::function<void(OutboxMessages)>;

    virtual ~OutboxPort() = default;
    // The oldest with larger numbers, in order.
    virtual void ReadMessages(std::int64_t after, std::size_t count, Reader reader) = 0;
    virtual void RemoveMessages(std::int64_t upTo) = 0;
    // One of those that are removed did not reach the broker.
    virtual void CountDropped() = 0;
};

// Hands the messages of the outbox to the broker, in order, and removes those that it has: each arrives at least once,
// but for those that the broker can never take. For the network loop.
class Publisher {
  public:
    using Time = std::chrono::steady_clock::time_point;

    // How many are handed over without an acknowledgement.
    static constexpr std::size_t kMostUnderWay = 20;
    // When a message that the broker refuses is tried again; those behind it wait. An answer is dropped instead:
    // clients choose its topic, and must not hold up events by that.
    static constexpr std::chrono::seconds kBetweenTrials{60};

    using IsAnswer = std::function<bool(const OutboxMessage&)>;

    // Both outlive it.
    Publisher(OutboxPort& outbox, BrokerPort& broker, IsAnswer isAnswer)
        : outbox_(outbox), broker_(broker), isAnswer_(std::move(isAnswer)) {}

    // Begins with the first message that the broker may not have.
    void Opened(BrokerConnection connection);
    void Lost();
    // There are new messages in the outbox.
    void MessagesCame();
    // False if it is none of this publisher's.
    bool Published(PublishNumber number, PublishResult result, Time now);

    // Tries again what was refused, when it is due.
    void Advance(Time now);
    std::optional<Time> NextTime() const { return nextTrial_; }

  private:
    enum class State : std::uint8_t { kUnderWay, kRefused, kDone };

    struct UnderWay {
        OutboxMessage message;
        PublishNumber number = 0;
        State state = State::kUnderWay;
    };

    void ReadNext();
    void Take(BrokerConnection connection, std::size_t asked, OutboxMessages messages);
    void HandOver(UnderWay& entry);
    void RemoveDone();

    OutboxPort& outbox_;
    BrokerPort& broker_;
    const IsAnswer isAnswer_;
    BrokerConnection connection_ = 0;
    std::deque<UnderWay> underWay_;
    std::int64_t removed_ = 0;
    bool isReading_ = false;
    bool mayHaveMore_ = false;
    std::optional<Time> nextTrial_;
};

}  // namespace MuxProxy
