#pragma once

#include <boost/asio/io_context.hpp>

#include "proxy/mqtt/BrokerLink.h"

namespace MuxProxy {

// The link to the broker with its reports on the network loop. Destroy it before the loop and after the loop's last
// run.
class LoopedBroker : public BrokerPort, private BrokerEvents {
  public:
    // `events` is called from the loop. Both outlive it.
    LoopedBroker(boost::asio::io_context& loop, const BrokerSettings& settings, BrokerEvents& events,
                 const DelaySettings& delays = {});

    // As BrokerLink::End().
    void End() { link_.End(); }
    PublishNumber Publish(BrokerConnection connection, BrokerMessage message) override;

  private:
    void BrokerOpened(BrokerConnection connection) override;
    void BrokerReceived(BrokerMessage message) override;
    void BrokerPublished(PublishNumber number, PublishResult result) override;
    void BrokerLost(const std::string& reason) override;
    void BrokerFailed(const std::string& reason) override;
    void BrokerComplained(const std::string& complaint) override;

    boost::asio::io_context& loop_;
    BrokerEvents& events_;
    // Ends first.
    BrokerLink link_;
};

}  // namespace MuxProxy
