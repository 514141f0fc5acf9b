#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>

#include "proxy/audit/AuditLog.h"
#include "proxy/audit/OutboxMessage.h"
#include "proxy/dispatch/Answers.h"
#include "proxy/dispatch/Dispatcher.h"
#include "proxy/mqtt/BrokerPort.h"
#include "proxy/mqtt/CommandCheck.h"
#include "proxy/mqtt/Topics.h"
#include "proxy/net/ClientAccount.h"

namespace MuxProxy {

// What commands from the broker need of the world around them.
class CommandPorts {
  public:
    using Answered = std::function<void(const std::string& answer)>;
    using Time = std::chrono::steady_clock::time_point;

    virtual ~CommandPorts() = default;
    virtual Time Now() const = 0;
    // Whether the command may go on, which does not depend on the client's rights.
    virtual std::variant<CheckedCommand, RefusedCommand> Check(const CommandMessage& message) = 0;
    // One request of this client, as Dispatcher::Received() takes it. `answered` gets the text of its answer later.
    virtual void Ask(ClientIdentity client, std::string_view text, Answered answered) = 0;
    virtual void AddRow(AuditRow row) = 0;
    // An answer that must arrive: it waits in the outbox.
    virtual void Post(OutboxMessage message) = 0;
    // One that may be lost.
    virtual void PublishOnce(BrokerMessage message) = 0;
};

// Commands that clients send by the broker: each is checked, goes the way of every request, and gets one answer, on its
// response topic and with its correlation data. Each client has as much as one that is connected by itself, and all
// have these bounds together, because the broker decides which names there are. For the network loop.
class MqttCommands {
  public:
    // Commands a second that are checked.
    static constexpr std::int64_t kCommandsPerSecond = 200;
    // Of refused ones, how many a second have a row and an answer that waits for the broker; how many more have an
    // answer that may be lost. The others are counted in one row a minute.
    static constexpr std::int64_t kRefusalsPerSecond = 10;
    static constexpr std::int64_t kBriefAnswersPerSecond = 100;
    // Longer correlation data is refused: it is kept with the answer.
    static constexpr std::size_t kLongestCorrelation = 256;

    // `ports` outlive it.
    MqttCommands(CommandPorts& ports, Topics topics);

    // Names that have rights, each of which has an account of its own from now on; all others share one.
    void SetClients(std::set<std::string> names);

    // A message of the broker on a topic that Topics::Commands() matches.
    void Received(const BrokerMessage& message);

  private:
    // Where an answer goes and what it is about.
    struct Asked {
        CommandTopic topic;
        std::string operation;
        std::string replyTopic;
        std::string correlationData;
    };

    // Counts what has no row of its own.
    struct Count {
        std::size_t count = 0;
        std::optional<CommandPorts::Time> noted;
    };

    struct Client {
        explicit Client(CommandPorts::Time now) : account(now) {}
        ClientAccount account;
        Count tooMany;
    };

    static Allowance PerSecond(std::int64_t count) { return {count, std::chrono::milliseconds(1000 / count)}; }

    Client& ClientOf(const std::string& name);
    void Take(Asked asked, const BrokerMessage& message, Client& client);
    std::string TakeReply(Asked& asked, const BrokerMessage& message) const;
    void Ask(Asked asked, const CheckedCommand& command);
    // With a row and an answer.
    void Refuse(const Asked& asked, Refusal refusal, const std::string& reason);
    // Neither the audit nor the outbox is filled by it.
    void RefuseBriefly(const Asked& asked, Refusal refusal, const std::string& reason);
    // Whether a refusal may have a row of its own. If not, it is counted.
    bool MayHaveRow();
    // A row, if there was none for a minute.
    void Note(Count& count, const Asked& asked, const std::string& remark);
    void AddRow(const Asked& asked, Refusal refusal, const std::string& remark);
    void Answer(const Asked& asked, const std::string& text);

    CommandPorts& ports_;
    const Topics topics_;
    std::set<std::string> names_;
    std::map<std::string, Client> clients_;
    Allowance commands_ = PerSecond(kCommandsPerSecond);
    Allowance refusals_ = PerSecond(kRefusalsPerSecond);
    Allowance briefAnswers_ = PerSecond(kBriefAnswersPerSecond);
    // Of all clients together.
    Count tooMany_;
    Count refusedBriefly_;
};

}  // namespace MuxProxy
