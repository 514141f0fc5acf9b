#include "proxy/mqtt/MqttCommands.h"

#include <iterator>
#include <utility>

#include "proxy/mqtt/MessageMaker.h"
#include "proxy/requests/JsonObject.h"

namespace MuxProxy {
namespace {

// In the place of a client's address.
constexpr const char* kAddress = "mqtt";
constexpr std::chrono::minutes kBetweenRows{1};
constexpr const char* kTooMany = "too many commands";
constexpr const char* kTooManyTogether = "too many commands from the broker";
constexpr const char* kTooManyRefused = "too many refused commands from the broker";

JsonObject PayloadFor(const CommandTopic& topic, const std::string& operation, const std::string& result,
                      std::int32_t errorCode) {
    JsonObject payload;
    payload.Number("time", MillisecondsOf(std::chrono::system_clock::now()));
    if (!operation.empty()) {
        payload.Text("operation", operation);
    }
    payload.Number("gateway", topic.lock.gateway)
        .Number("lock", topic.lock.lock)
        .Text("result", result)
        .Number("errorCode", errorCode);
    return payload;
}

// By the dispatcher, without asking the gateway: it costs as much as from a client that is connected by itself.
bool IsRefused(const MuxClient::Message& answer) {
    using Error = MuxClient::ProxyError;
    return answer.refusal && (answer.refusal->Is(Error::kNotAllowed) || answer.refusal->Is(Error::kNotValid));
}

}  // namespace

MqttCommands::MqttCommands(CommandPorts& ports, Topics topics) : ports_(ports), topics_(std::move(topics)) {}

MqttCommands::Client& MqttCommands::ClientOf(const std::string& name) {
    return clients_.try_emplace(names_.count(name) != 0 ? name : "", ports_.Now()).first->second;
}

void MqttCommands::SetClients(std::set<std::string> names) {
    names_ = std::move(names);
    for (auto client = clients_.begin(); client != clients_.end();) {
        const bool isKept = client->first.empty() || names_.count(client->first) != 0;
        client = isKept ? std::next(client) : clients_.erase(client);
    }
}

void MqttCommands::Received(const BrokerMessage& message) {
    const auto read = topics_.ReadCommand(message.topic);
    if (const auto* const invalid = std::get_if<InvalidTopic>(&read)) {
        Client& nobody = ClientOf("");
        if (nobody.account.Rest(ports_.Now()).count() == 0) {
            nobody.account.Spend(message.payload.size(), true);
            MayHaveRow() ? AddRow({}, Refusal::kNotValid, invalid->reason) : static_cast<void>(0);
        }
        return;
    }
    Asked asked;
    asked.topic = std::get<CommandTopic>(read);
    asked.replyTopic = topics_.Reply(asked.topic.client);
    Client& client = ClientOf(asked.topic.client);
    if (client.account.Rest(ports_.Now()).count() > 0) {
        TakeReply(asked, message);
        Note(client.tooMany, asked, kTooMany);
        RefuseBriefly(asked, Refusal::kNotSent, kTooMany);
    } else if (commands_.Wait(ports_.Now()).count() > 0) {
        Note(tooMany_, {}, kTooManyTogether);
    } else {
        commands_.Spend(1);
        Take(std::move(asked), message, client);
    }
}

void MqttCommands::Take(Asked asked, const BrokerMessage& message, Client& client) {
    const std::string fault = TakeReply(asked, message);
    if (!fault.empty()) {
        client.account.Spend(message.payload.size(), true);
        Refuse(asked, Refusal::kNotValid, fault);
        return;
    }
    const auto checked = ports_.Check({asked.topic.lock, asked.topic.client, message.payload, message.isRetained});
    if (const auto* const refused = std::get_if<RefusedCommand>(&checked)) {
        client.account.Spend(message.payload.size(), true);
        asked.operation = refused->kind != nullptr ? refused->kind->name : "";
        Refuse(asked, refused->error, refused->reason);
        return;
    }
    client.account.Spend(message.payload.size(), false);
    Ask(std::move(asked), std::get<CheckedCommand>(checked));
}

// Why the answer cannot go where the command says; empty if it can.
std::string MqttCommands::TakeReply(Asked& asked, const BrokerMessage& message) const {
    if (message.correlationData.size() > kLongestCorrelation) {
        return "the correlation data is longer than " + std::to_string(kLongestCorrelation) + " bytes";
    }
    asked.correlationData = message.correlationData;
    if (message.responseTopic.empty()) {
        return "";
    }
    if (!topics_.IsReplyTo(asked.topic.client, message.responseTopic)) {
        return "the response topic must be " + asked.replyTopic + " or below it";
    }
    asked.replyTopic = message.responseTopic;
    return "";
}

void MqttCommands::Ask(Asked asked, const CheckedCommand& command) {
    asked.operation = command.kind->name;
    const ClientIdentity client{asked.topic.client, kAddress, false};
    ports_.Ask(client, command.text, [this, asked = std::move(asked)](const std::string& answer) {
        if (IsRefused(MuxClient::ParseMessage(answer))) {
            ClientOf(asked.topic.client).account.Spend(0, true);
        }
        Answer(asked, answer);
    });
}

void MqttCommands::Refuse(const Asked& asked, Refusal refusal, const std::string& reason) {
    if (MayHaveRow()) {
        AddRow(asked, refusal, reason);
        Answer(asked, NackText("", refusal, reason));
    } else {
        RefuseBriefly(asked, refusal, reason);
    }
}

bool MqttCommands::MayHaveRow() {
    if (refusals_.Wait(ports_.Now()).count() > 0) {
        Note(refusedBriefly_, {}, kTooManyRefused);
        return false;
    }
    refusals_.Spend(1);
    return true;
}

void MqttCommands::RefuseBriefly(const Asked& asked, Refusal refusal, const std::string& reason) {
    if (briefAnswers_.Wait(ports_.Now()).count() > 0) {
        return;
    }
    briefAnswers_.Spend(1);
    JsonObject payload =
        PayloadFor(asked.topic, asked.operation, RefusalName(refusal), static_cast<std::int32_t>(refusal));
    payload.Text("text", reason);
    ports_.PublishOnce({asked.replyTopic, payload.Json(), 0, false, "", asked.correlationData});
}

void MqttCommands::Note(Count& count, const Asked& asked, const std::string& remark) {
    ++count.count;
    const CommandPorts::Time now = ports_.Now();
    if (!count.noted || now >= *count.noted + kBetweenRows) {
        const std::size_t number = std::exchange(count.count, 0);
        count.noted = now;
        AddRow(asked, Refusal::kNotSent,
               remark + (number > 1 ? " (" + std::to_string(number) + " since the last such row)" : ""));
    }
}

void MqttCommands::AddRow(const Asked& asked, Refusal refusal, const std::string& remark) {
    AuditRow row;
    row.kind = "request";
    row.client = asked.topic.client;
    row.address = kAddress;
    row.operation = asked.operation;
    if (!asked.topic.client.empty()) {
        row.gateway = asked.topic.lock.gateway;
        row.lock = asked.topic.lock.lock;
    }
    row.result = RefusalName(refusal);
    row.errorCode = static_cast<std::int32_t>(refusal);
    row.remark = remark;
    ports_.AddRow(std::move(row));
}

void MqttCommands::Answer(const Asked& asked, const std::string& text) {
    const MuxClient::Message answer = MuxClient::ParseMessage(text);
    const std::int32_t errorCode = answer.refusal ? answer.refusal->errorCode : 0;
    JsonObject payload = PayloadFor(asked.topic, asked.operation, ResultName(answer), errorCode);
    if (answer.refusal && !answer.refusal->message.empty()) {
        payload.Text("text", answer.refusal->message);
    }
    if (answer.status) {
        JsonObject status;
        AddStatus(status, *answer.status);
        payload.Object("status", status);
    }
    OutboxMessage message;
    message.topic = asked.replyTopic;
    message.payload = payload.Json();
    message.correlationData = asked.correlationData;
    ports_.Post(std::move(message));
}

}  // namespace MuxProxy
