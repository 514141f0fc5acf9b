#include "proxy/dispatch/Dispatcher.h"

#include <array>
#include <utility>

namespace MuxProxy {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

// Requests right after a start share the reference ID of the Mux's own question to the gateway and go unanswered.
constexpr std::chrono::seconds kPauseAfterConnect{1};

// Of one client, in all gateways' queues together.
constexpr std::size_t kMostRequests = 256;

struct EndingText {
    Refusal refusal;
    const char* detail;
};

// By QueueEnding.
constexpr std::array<EndingText, 5> kEndings = {{
    {Refusal::kNotSent, "waited 5 s for its turn"},
    {Refusal::kNotSent, "the gateway does not answer"},
    {Refusal::kMuxAway, ""},
    {Refusal::kNoAnswer, ""},
    {Refusal::kNoAnswer, "the connection to the Mux was lost"},
}};

// What an event is called in the audit.
const char* EventName(std::int32_t code) {
    switch (static_cast<MuxClient::MessageCode>(code)) {
        case MuxClient::MessageCode::kAccessAllowed:
            return "allowed";
        case MuxClient::MessageCode::kInfo:
            return "pin";
        default:
            return "card";
    }
}

AuditRow RequestRow(const ClientIdentity& client, const ProxyRequest& request) {
    AuditRow row;
    row.kind = "request";
    row.client = client.name;
    row.address = client.address;
    if (request.kind != nullptr) {
        row.operation = request.kind->name;
        row.gateway = request.lock.gateway;
        row.lock = request.lock.lock;
        row.card = request.card.data;
    }
    return row;
}

AuditRow EventRow(const MuxText& event) {
    AuditRow row;
    row.kind = "event";
    row.operation = EventName(event.code);
    row.gateway = event.gateway;
    row.lock = event.lockBits;
    const bool isPin = event.code == static_cast<std::int32_t>(MuxClient::MessageCode::kInfo);
    row.card = isPin ? "" : event.card;
    return row;
}

AuditRow MuxRow(const char* operation, std::string remark = {}) {
    AuditRow row;
    row.kind = "mux";
    row.operation = operation;
    row.remark = std::move(remark);
    return row;
}

}  // namespace

Dispatcher::Dispatcher(DispatcherPorts& ports, AuditLog& audit, std::shared_ptr<const Rights> rights)
    : ports_(ports), audit_(audit), rights_(std::move(rights)) {}

ClientNumber Dispatcher::Connected(ClientIdentity client) {
    clients_.emplace(++lastClient_, Client{std::move(client)});
    return lastClient_;
}

void Dispatcher::Disconnected(ClientNumber client) {
    clients_.erase(client);
    for (auto& [gateway, queue] : queues_) {
        for (const RequestNumber number : queue.DropWaiting(client)) {
            Drop(number);
        }
    }
}

void Dispatcher::Drop(RequestNumber number) {
    Complete(number, "", "dropped", 0, "its client has gone");
}

bool Dispatcher::Received(ClientNumber number, std::string_view text) {
    const Client& client = clients_.at(number);
    auto read = ReadRequest(text);
    if (const auto* const invalid = std::get_if<InvalidRequest>(&read)) {
        return Refuse(number, RequestRow(client.identity, {}), invalid->clientId, Refusal::kNotValid, invalid->reason);
    }
    auto& request = std::get<ProxyRequest>(read);
    AuditRow row = RequestRow(client.identity, request);
    if (!rights_->Allows(client.identity.name, request.kind->right, request.lock)) {
        return Refuse(number, std::move(row), request.clientId, Refusal::kNotAllowed, "");
    }
    if (client.requests >= kMostRequests) {
        return Refuse(number, std::move(row), request.clientId, Refusal::kNotSent, "too many are waiting");
    }
    return Accept(number, std::move(request), std::move(row));
}

bool Dispatcher::Refuse(ClientNumber client, AuditRow row, const std::string& id, Refusal refusal,
                        const std::string& detail) {
    row.result = RefusalName(refusal);
    row.errorCode = static_cast<std::int32_t>(refusal);
    row.remark = detail;
    audit_.Add(0, std::move(row));
    ports_.SendToClient(client, NackText(id, refusal, detail));
    return false;
}

bool Dispatcher::Accept(ClientNumber client, ProxyRequest content, AuditRow row) {
    const RequestNumber number = ++lastRequest_;
    const bool mustBeOnDisk = content.kind->changes;
    ++clients_.at(client).requests;
    requests_.emplace(number, Request{std::move(content), client, ports_.Now(), State::kAuditing, ""});
    if (mustBeOnDisk) {
        audit_.Add(number, std::move(row), [this, number](bool isWritten) { ports_.PostAudited(number, isWritten); });
    } else {
        audit_.Add(number, std::move(row));
        Enqueue(number);
    }
    return true;
}

void Dispatcher::EndAll() {
    while (!requests_.empty()) {
        const auto& [number, request] = *requests_.begin();
        End(number, request.state == State::kSent ? Refusal::kNoAnswer : Refusal::kNotSent, "the proxy ends");
    }
    queues_.clear();
}

void Dispatcher::Audited(RequestNumber number, bool isWritten) {
    const auto request = requests_.find(number);
    if (request == requests_.end()) {
        return;
    }
    if (!isWritten) {
        End(number, Refusal::kNotAudited, "");
    } else if (clients_.count(request->second.client) == 0) {
        Drop(number);
    } else {
        Enqueue(number);
    }
}

void Dispatcher::Enqueue(RequestNumber number) {
    Request& request = requests_.at(number);
    request.state = State::kQueued;
    GatewayQueue& queue = queues_[request.content.lock.gateway];
    if (queue.Add(request.client, number, request.received, ports_.Now())) {
        Advance();
    } else {
        const bool isSilent = queue.IsSilent();
        End(number, Refusal::kNotSent, isSilent ? "the gateway does not answer" : "too many are waiting");
    }
}

bool Dispatcher::IsMuxReady() const {
    return muxReady_ && *muxReady_ <= ports_.Now();
}

void Dispatcher::Advance() {
    const bool isMuxReady = IsMuxReady();
    for (auto& [gateway, queue] : queues_) {
        const QueueWork work = queue.Advance(ports_.Now(), isMuxReady);
        for (const RequestNumber number : work.toSend) {
            Send(number);
        }
        for (const QueueWork::Ended& ended : work.ended) {
            EndByQueue(ended);
        }
    }
    for (auto queue = queues_.begin(); queue != queues_.end();) {
        queue = queue->second.IsIdle() ? queues_.erase(queue) : std::next(queue);
    }
}

std::optional<Time> Dispatcher::NextTime() const {
    std::optional<Time> next;
    const bool isMuxReady = IsMuxReady();
    if (muxReady_ && !isMuxReady && !queues_.empty()) {
        next = muxReady_;
    }
    for (const auto& [gateway, queue] : queues_) {
        const std::optional<Time> time = queue.NextTime(isMuxReady);
        next = !next ? time : !time ? next : std::min(*next, *time);
    }
    return next;
}

void Dispatcher::Send(RequestNumber number) {
    Request& request = requests_.at(number);
    const MuxClient::Request written = WriteRequest(request.content);
    request.state = State::kSent;
    request.muxId = written.id;
    sent_.emplace(written.id, number);
    ports_.SendToMux(written.text);
}

void Dispatcher::EndByQueue(const QueueWork::Ended& ended) {
    const EndingText& text = kEndings.at(static_cast<std::size_t>(ended.ending));
    if (ended.ending == QueueEnding::kNoAnswer) {
        const Request& request = requests_.at(ended.request);
        givenUp_.Add(request.muxId, request.content.lock.gateway);
    }
    End(ended.request, text.refusal, text.detail);
}

void Dispatcher::End(RequestNumber number, Refusal refusal, const char* detail) {
    const std::string answer = NackText(requests_.at(number).content.clientId, refusal, detail);
    Complete(number, answer, RefusalName(refusal), static_cast<std::int32_t>(refusal), detail);
}

void Dispatcher::Complete(RequestNumber number, const std::string& answer, const std::string& result,
                          std::int32_t errorCode, const std::string& remark) {
    const auto found = requests_.find(number);
    const Request request = std::move(found->second);
    requests_.erase(found);
    sent_.erase(request.muxId);
    const auto client = clients_.find(request.client);
    if (client != clients_.end()) {
        --client->second.requests;
        ports_.SendToClient(request.client, answer);
    }
    const auto elapsed = duration_cast<milliseconds>(ports_.Now() - request.received);
    audit_.Finish(number, result, errorCode, elapsed, remark);
}

void Dispatcher::MuxConnected() {
    muxReady_ = ports_.Now() + kPauseAfterConnect;
    audit_.Add(0, MuxRow("connected"));
}

void Dispatcher::MuxLost() {
    muxReady_.reset();
    audit_.Add(0, MuxRow("lost", "events are lost until it is connected again"));
    std::vector<QueueWork::Ended> ended;
    for (auto& [gateway, queue] : queues_) {
        queue.LoseSent(ended);
    }
    for (const QueueWork::Ended& request : ended) {
        EndByQueue(request);
    }
}

void Dispatcher::MuxSent(const std::string& text) {
    const MuxText read = ReadMuxText(text);
    if (read.isEvent) {
        TakeEvent(read, text);
    } else if (sent_.count(read.id) != 0) {
        TakeAnswer(read, text);
    } else {
        TakeLateAnswer(read);
    }
}

void Dispatcher::TakeAnswer(const MuxText& read, const std::string& text) {
    const RequestNumber number = sent_.at(read.id);
    const Request& request = requests_.at(number);
    queues_.at(request.content.lock.gateway).Answered(number);
    Complete(number, Readdressed(text, request.content.clientId), read.isAck ? "ack" : "nack", read.errorCode, "");
    Advance();
}

void Dispatcher::TakeLateAnswer(const MuxText& read) {
    const std::optional<std::int32_t> gateway = givenUp_.Take(read.id);
    if (!gateway) {
        return;
    }
    AuditRow row;
    row.kind = "request";
    row.gateway = *gateway;
    row.result = "ambiguous";
    row.remark = "an answer under the number of a request that was given up, perhaps that of a later one";
    audit_.Add(0, std::move(row));
    const auto queue = queues_.find(*gateway);
    if (queue != queues_.end()) {
        queue->second.AnsweredLate();
    }
}

void Dispatcher::TakeEvent(const MuxText& read, const std::string& text) {
    audit_.Add(0, EventRow(read));
    for (const auto& [number, client] : clients_) {
        if (rights_->SeesEvent(client.identity.name, read.gateway, read.lockBits)) {
            ports_.SendToClient(number, text);
        }
    }
}

}  // namespace MuxProxy
