#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "proxy/mqtt/BrokerPort.h"

namespace MuxProxy {

// Where the broker is and how this site presents itself there. A value.
struct BrokerSettings {
    std::string host;
    std::uint16_t port = 8883;
    // Files in PEM. With an authority the connection is encrypted and the host's name is checked. Certificate and key
    // are both given or none.
    std::string authority = {};
    std::string certificate = {};
    std::string key = {};
    std::string user = {};
    // A file whose first line is the password; may be empty.
    std::string passwordFile = {};
    // Empty for one that the broker chooses.
    std::string clientId = {};
    // Where "online" and "offline" are published, retained.
    std::string statusTopic = {};
    // Topic filters.
    std::vector<std::string> subscriptions = {};
};

// Why there is no connection; a sentence for people without a full stop.
class BrokerError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Whom a session reports to, from within its functions.
class BrokerSessionOwner {
  public:
    virtual ~BrokerSessionOwner() = default;
    virtual void SessionOpened() = 0;
    virtual void SessionReceived(BrokerMessage message) = 0;
    virtual void SessionPublished(PublishNumber number, PublishResult result) = 0;
    virtual void SessionComplained(const std::string& complaint) = 0;
};

// One connection to the broker (MQTT 5, a clean start, no session behind it), from the attempt to its end. Files are
// read anew for each. For one thread, which should handle no signal: a connection that has gone raises SIGPIPE.
class BrokerSession {
  public:
    // Both outlive it. Throws BrokerError.
    BrokerSession(const BrokerSettings& settings, BrokerSessionOwner& owner);
    ~BrokerSession();
    BrokerSession(const BrokerSession&) = delete;
    BrokerSession& operator=(const BrokerSession&) = delete;

    // Looks the host up and begins to connect, which takes as long as the system takes for it. Throws BrokerError.
    void Connect();

    // Waits at most so long for the network, or until `wakeDescriptor` can be read, and handles what has come. Nothing
    // is read unless `mayRead`. Throws BrokerError once the connection is lost, or was not made in time.
    void Run(int wakeDescriptor, std::chrono::milliseconds longest, bool mayRead);

    bool IsOpen() const;
    // Once it is open. The outcome is reported.
    void Publish(PublishNumber number, const BrokerMessage& message);
    // Publishes "offline" and takes leave, as far as the broker lets it within this time. Otherwise the broker
    // publishes the last will when it notices.
    void End(std::chrono::milliseconds longest) noexcept;

  private:
    class Connection;
    std::unique_ptr<Connection> connection_;
};

}  // namespace MuxProxy
