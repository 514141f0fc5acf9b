#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "proxy/audit/AuditLog.h"
#include "proxy/configuration/Configuration.h"
#include "proxy/configuration/MuxLocks.h"
#include "proxy/mqtt/CommandCheck.h"
#include "proxy/mqtt/Discovery.h"
#include "proxy/mqtt/LockStates.h"
#include "proxy/mqtt/LoopedBroker.h"
#include "proxy/mqtt/MessageMaker.h"
#include "proxy/mqtt/MqttCommands.h"
#include "proxy/mqtt/Publisher.h"
#include "proxy/mqtt/Topics.h"

namespace MuxProxy {

// The keys of the file that the settings name; null without one. Throws std::runtime_error with a sentence for people.
// Any thread.
CommandCheck::Keys ReadCommandKeys(const MqttSettings& settings);

// A site at its broker: publishes what the audit writes, the status of locks and how Home Assistant finds them, and
// takes commands. For the network loop; destroy it after the loop's last run.
class MqttSite : private BrokerEvents, private CommandPorts, private OutboxPort {
  public:
    // As Insiders::Ask().
    using AskFunction = std::function<void(ClientIdentity, std::string_view, CommandPorts::Answered)>;
    // The connection came (true) or was lost.
    using ConnectionFunction = std::function<void(bool isConnected)>;

    // Throws std::runtime_error with a sentence for people if the keys cannot be used. The loop outlives it.
    MqttSite(boost::asio::io_context& loop, const MqttSettings& settings, const MuxLocks& locks);
    ~MqttSite() override;
    MqttSite(const MqttSite&) = delete;
    MqttSite& operator=(const MqttSite&) = delete;

    // Has the audit make messages. It must end before this object.
    void SetHooks(AuditHooks& hooks);

    // Connects. `audit` has these hooks.
    void Start(AuditLog& audit, AskFunction ask, ConnectionFunction connectionChanged);
    // Begins to take leave of the broker, which the destructor waits for.
    void Stop();

    // For commands from now on.
    void SetKeys(CommandCheck::Keys keys) { check_.SetKeys(std::move(keys)); }
    // As MqttCommands::SetClients().
    void SetClients(std::set<std::string> names) { commands_.SetClients(std::move(names)); }
    void StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status);

  private:
    void BrokerOpened(BrokerConnection connection) override;
    void BrokerReceived(BrokerMessage message) override;
    void BrokerPublished(PublishNumber number, PublishResult result) override;
    void BrokerLost(const std::string& reason) override;
    void BrokerFailed(const std::string& reason) override;
    void BrokerComplained(const std::string& complaint) override;

    Time Now() const override { return std::chrono::steady_clock::now(); }
    std::variant<CheckedCommand, RefusedCommand> Check(const CommandMessage& message) override;
    void Ask(ClientIdentity client, std::string_view text, Answered answered) override;
    void AddRow(AuditRow row) override;
    void Post(OutboxMessage message) override;
    void PublishOnce(BrokerMessage message) override;

    void ReadMessages(std::int64_t after, std::size_t count, Reader reader) override;
    void RemoveMessages(std::int64_t upTo) override;
    void CountDropped() override;

    // The timer of what is published again.
    void Plan();
    void Advance();

    // The link, which is made last.
    class Outlet : public BrokerPort {
      public:
        PublishNumber Publish(BrokerConnection connection, BrokerMessage message) override {
            return broker->Publish(connection, std::move(message));
        }
        BrokerPort* broker = nullptr;
    };

    boost::asio::io_context& loop_;
    const MqttSettings settings_;
    const Topics topics_;
    const MessageMaker maker_;
    CommandCheck check_;
    Outlet outlet_;
    Publisher publisher_;
    LockStates states_;
    std::optional<Discovery> discovery_;
    MqttCommands commands_;
    boost::asio::steady_timer timer_;
    // What people were told of this connection.
    std::set<std::string> complaints_;
    BrokerConnection connection_ = 0;
    bool isEnding_ = false;
    // From Start() on.
    AuditLog* audit_ = nullptr;
    AskFunction ask_;
    ConnectionFunction connectionChanged_;
    std::optional<LoopedBroker> broker_;
};

}  // namespace MuxProxy
