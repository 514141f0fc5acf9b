#include "proxy/mqtt/MqttSite.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <iostream>
#include <utility>

#include "proxy/configuration/ConfigurationReader.h"

namespace MuxProxy {
namespace {

namespace asio = boost::asio;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostComplaints = 100;

WallTime NowByTheClock() {
    return std::chrono::time_point_cast<WallTime::duration>(std::chrono::system_clock::now());
}

// For the journal, which knows the severity by the number in front.
void SayOfBroker(const char* severity, const std::string& text) {
    std::cerr << severity + text + '\n';
}

BrokerSettings BrokerSettingsOf(const MqttSettings& settings, const Topics& topics, const std::string& birthTopic) {
    BrokerSettings broker{settings.host, settings.port, settings.authority,   settings.certificate,
                          settings.key,  settings.user, settings.passwordFile};
    broker.clientId = topics.ClientId();
    broker.statusTopic = topics.Status();
    broker.subscriptions = {topics.Commands()};
    if (!birthTopic.empty()) {
        broker.subscriptions.push_back(birthTopic);
    }
    return broker;
}

}  // namespace

CommandCheck::Keys ReadCommandKeys(const MqttSettings& settings) {
    const std::string& file = settings.commandKeys;
    return file.empty()
               ? nullptr
               : std::make_shared<const Jose::KeySet>(Jose::KeySet::FromText(file, ReadConfigurationFile(file)));
}

MqttSite::MqttSite(asio::io_context& loop, const MqttSettings& settings, const MuxLocks& locks)
    : loop_(loop),
      settings_(settings),
      topics_(settings.prefix, settings.site),
      maker_(topics_, locks, settings.wholeCards),
      check_(settings.site, ReadCommandKeys(settings), &NowByTheClock),
      publisher_(*this, outlet_, [this](const OutboxMessage& message) { return topics_.IsReply(message.topic); }),
      states_(outlet_, topics_),
      commands_(*this, topics_),
      timer_(loop) {
    if (settings.discovery) {
        discovery_.emplace(outlet_, *settings.discovery, topics_, locks, settings.commandKeys.empty(), &RandomShare);
    }
}

MqttSite::~MqttSite() = default;

void MqttSite::SetHooks(AuditHooks& hooks) {
    hooks.makeMessage = [this](const AuditRow& row) { return maker_.MessageOf(row); };
    hooks.messagesAdded = [this] { asio::post(loop_, [this] { publisher_.MessagesCame(); }); };
    hooks.messageTime = std::chrono::hours(24) * settings_.waitingDays;
    hooks.mostMessages = settings_.waitingCount;
}

void MqttSite::Start(AuditLog& audit, AskFunction ask, ConnectionFunction connectionChanged) {
    audit_ = &audit;
    if (const auto time = audit.NewestTimeAtStart()) {
        check_.SetEarlierEnd(std::chrono::time_point_cast<WallTime::duration>(*time));
    }
    ask_ = std::move(ask);
    connectionChanged_ = std::move(connectionChanged);
    const std::string birthTopic = discovery_ ? discovery_->BirthTopic() : "";
    BrokerEvents& events = *this;
    broker_.emplace(loop_, BrokerSettingsOf(settings_, topics_, birthTopic), events);
    outlet_.broker = &*broker_;
}

void MqttSite::Stop() {
    isEnding_ = true;
    timer_.cancel();
    if (broker_) {
        broker_->End();
    }
}

void MqttSite::StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status) {
    states_.StatusCame(lock, status, std::chrono::system_clock::now());
}

void MqttSite::BrokerOpened(BrokerConnection connection) {
    SayOfBroker("<6>", "Connected to the broker");
    connection_ = connection;
    connectionChanged_(true);
    complaints_.clear();
    publisher_.Opened(connection);
    states_.Messages().Opened(connection);
    if (discovery_) {
        discovery_->Messages().Opened(connection);
    }
}

// All was published with the connection, so a birth that is retained asks for nothing more.
void MqttSite::BrokerReceived(BrokerMessage message) {
    if (!discovery_ || message.topic != discovery_->BirthTopic()) {
        commands_.Received(message);
    } else if (message.payload == "online" && !message.isRetained) {
        discovery_->Started(Clock::now());
        Plan();
    }
}

void MqttSite::BrokerPublished(PublishNumber number, PublishResult result) {
    if (publisher_.Published(number, result, Clock::now())) {
        Plan();
    } else if (!states_.Messages().Published(number) && discovery_) {
        discovery_->Messages().Published(number);
    }
}

void MqttSite::BrokerLost(const std::string& reason) {
    SayOfBroker("<4>", "The connection to the broker was lost: " + reason);
    connection_ = 0;
    connectionChanged_(false);
    publisher_.Lost();
    states_.Messages().Lost();
    if (discovery_) {
        discovery_->Messages().Lost();
    }
}

void MqttSite::BrokerFailed(const std::string& reason) {
    SayOfBroker("<4>", "Cannot connect to the broker: " + reason);
}

void MqttSite::BrokerComplained(const std::string& complaint) {
    if (complaints_.size() < kMostComplaints && complaints_.insert(complaint).second) {
        SayOfBroker("<4>", complaint);
    }
}

std::variant<CheckedCommand, RefusedCommand> MqttSite::Check(const CommandMessage& message) {
    return check_.Read(message);
}

void MqttSite::Ask(ClientIdentity client, std::string_view text, Answered answered) {
    ask_(std::move(client), text, std::move(answered));
}

void MqttSite::AddRow(AuditRow row) {
    audit_->Add(0, std::move(row));
}

void MqttSite::Post(OutboxMessage message) {
    audit_->Post(std::move(message));
}

void MqttSite::PublishOnce(BrokerMessage message) {
    outlet_.Publish(connection_, std::move(message));
}

void MqttSite::ReadMessages(std::int64_t after, std::size_t count, Reader reader) {
    audit_->ReadMessages(after, count, [this, reader = std::move(reader)](OutboxMessages messages) {
        asio::post(loop_, [reader, messages = std::move(messages)] { reader(messages); });
    });
}

void MqttSite::RemoveMessages(std::int64_t upTo) {
    audit_->RemoveMessages(upTo);
}

void MqttSite::CountDropped() {
    audit_->CountDroppedMessage();
}

void MqttSite::Plan() {
    std::optional<Clock::time_point> next = publisher_.NextTime();
    const auto other = discovery_ ? discovery_->NextTime() : std::nullopt;
    if (other && (!next || *other < *next)) {
        next = other;
    }
    if (!next || isEnding_) {
        return;
    }
    timer_.expires_at(*next);
    timer_.async_wait([this](const boost::system::error_code& error) {
        if (!error) {
            Advance();
        }
    });
}

void MqttSite::Advance() {
    const auto now = Clock::now();
    publisher_.Advance(now);
    if (discovery_ && discovery_->Advance(now)) {
        states_.Messages().PublishAgain();
    }
    Plan();
}

}  // namespace MuxProxy
