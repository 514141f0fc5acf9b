#include "proxy/mqtt/LoopedBroker.h"

#include <boost/asio/post.hpp>
#include <utility>

namespace MuxProxy {

namespace asio = boost::asio;

LoopedBroker::LoopedBroker(asio::io_context& loop, const BrokerSettings& settings, BrokerEvents& events,
                           const DelaySettings& delays)
    : loop_(loop), events_(events), link_(settings, *this, delays) {}

PublishNumber LoopedBroker::Publish(BrokerConnection connection, BrokerMessage message) {
    return link_.Publish(connection, std::move(message));
}

void LoopedBroker::BrokerOpened(BrokerConnection connection) {
    asio::post(loop_, [this, connection] { events_.BrokerOpened(connection); });
}

void LoopedBroker::BrokerReceived(BrokerMessage message) {
    asio::post(loop_, [this, received = std::move(message)]() mutable {
        events_.BrokerReceived(std::move(received));
        link_.MessageTaken();
    });
}

void LoopedBroker::BrokerPublished(PublishNumber number, PublishResult result) {
    asio::post(loop_, [this, number, result] { events_.BrokerPublished(number, result); });
}

void LoopedBroker::BrokerLost(const std::string& reason) {
    asio::post(loop_, [this, reason] { events_.BrokerLost(reason); });
}

void LoopedBroker::BrokerFailed(const std::string& reason) {
    asio::post(loop_, [this, reason] { events_.BrokerFailed(reason); });
}

void LoopedBroker::BrokerComplained(const std::string& complaint) {
    asio::post(loop_, [this, complaint] { events_.BrokerComplained(complaint); });
}

}  // namespace MuxProxy
