#include "proxy/dispatch/Dispatcher.h"

#include <algorithm>
#include <array>
#include <utility>

namespace MuxProxy {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

// Requests right after a start share the reference ID of the Mux's own question to the gateway and go unanswered.
constexpr std::chrono::seconds kPauseAfterConnect{1};

// Of one client, for all gateways together: requests, and bytes of what they carry.
constexpr std::size_t kMostRequests = 256;
constexpr std::size_t kMostBytes = 2U << 20U;

// A disk that hangs must not keep a client waiting.
constexpr std::chrono::seconds kLongestAudit{5};

struct EndingText {
    Refusal refusal;
    const char* detail;
};

// By QueueEnding.
constexpr std::array<EndingText, 6> kEndings = {{
    {Refusal::kNotSent, "waited 5 s for its turn"},
    {Refusal::kNotSent, "too many are waiting"},
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

std::size_t SizeOf(const ProxyRequest& request) {
    return request.clientId.size() + request.card.data.size();
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

void Dispatcher::SetRights(std::shared_ptr<const Rights> rights) {
    rights_ = std::move(rights);
    std::vector<RequestNumber> refused;
    for (const auto& [number, request] : requests_) {
        if (request.state != State::kSent && !MayDo(request.client, request.content)) {
            refused.push_back(number);
        }
    }
    for (const RequestNumber number : refused) {
        Withdraw(number);
        End(number, Refusal::kNotAllowed, "");
    }
}

bool Dispatcher::MayDo(const std::string& client, const ProxyRequest& request) const {
    return client.empty() || rights_->Allows(client, request.kind->right, request.lock);
}

ConnectionNumber Dispatcher::Connected(ClientIdentity client) {
    connections_.emplace(++lastConnection_, std::move(client));
    return lastConnection_;
}

void Dispatcher::Disconnected(ConnectionNumber connection) {
    connections_.erase(connection);
    std::vector<RequestNumber> dropped;
    for (const auto& [number, request] : requests_) {
        if (request.connection == connection && request.state == State::kQueued) {
            dropped.push_back(number);
        }
    }
    for (const RequestNumber number : dropped) {
        Withdraw(number);
        Drop(number);
    }
}

void Dispatcher::Withdraw(RequestNumber number) {
    const Request& request = requests_.at(number);
    if (request.state == State::kQueued) {
        queues_.at(request.content.lock.gateway).Drop(request.client, number);
    }
}

void Dispatcher::Drop(RequestNumber number) {
    Complete(number, "", "dropped", 0, "its client has gone");
}

bool Dispatcher::Received(ConnectionNumber connection, std::string_view text) {
    const ClientIdentity& client = connections_.at(connection);
    auto read = ReadRequest(text);
    if (const auto* const invalid = std::get_if<InvalidRequest>(&read)) {
        return Refuse(connection, RequestRow(client, {}), invalid->clientId, Refusal::kNotValid, invalid->reason);
    }
    auto& request = std::get<ProxyRequest>(read);
    AuditRow row = RequestRow(client, request);
    if (!MayDo(client.name, request)) {
        return Refuse(connection, std::move(row), request.clientId, Refusal::kNotAllowed, "");
    }
    if (isEnding_ || !HasRoom(client.name, request)) {
        const char* const detail = isEnding_ ? "the proxy ends" : "too many are waiting";
        return Refuse(connection, std::move(row), request.clientId, Refusal::kNotSent, detail);
    }
    return Accept(connection, std::move(request), std::move(row));
}

bool Dispatcher::HasRoom(const std::string& client, const ProxyRequest& request) const {
    const auto load = loads_.find(client);
    return load == loads_.end() ||
           (load->second.requests < kMostRequests && load->second.bytes + SizeOf(request) <= kMostBytes);
}

bool Dispatcher::Refuse(ConnectionNumber connection, AuditRow row, const std::string& id, Refusal refusal,
                        const std::string& detail) {
    row.result = RefusalName(refusal);
    row.errorCode = static_cast<std::int32_t>(refusal);
    row.remark = detail;
    audit_.Add(0, std::move(row));
    ports_.SendToClient(connection, NackText(id, refusal, detail));
    return false;
}

bool Dispatcher::Accept(ConnectionNumber connection, ProxyRequest content, AuditRow row) {
    const RequestNumber number = ++lastRequest_;
    const std::string& client = connections_.at(connection).name;
    const bool mustBeOnDisk = content.kind->changes;
    Load& load = loads_[client];
    ++load.requests;
    load.bytes += SizeOf(content);
    const Request& request =
        requests_.emplace(number, Request{std::move(content), connection, client, ports_.Now(), State::kAuditing, ""})
            .first->second;
    ports_.RequestTaken({number, request.client, request.content});
    if (mustBeOnDisk) {
        auditing_.push_back(number);
        audit_.Add(number, std::move(row), [this, number](bool isWritten) { ports_.PostAudited(number, isWritten); });
        return true;
    }
    audit_.Add(number, std::move(row));
    return Enqueue(number);
}

void Dispatcher::EndAll() {
    isEnding_ = true;
    while (!requests_.empty()) {
        const auto& [number, request] = *requests_.begin();
        End(number, request.state == State::kSent ? Refusal::kNoAnswer : Refusal::kNotSent, "the proxy ends");
    }
    queues_.clear();
}

void Dispatcher::Audited(RequestNumber number, bool isWritten) {
    const auto request = requests_.find(number);
    if (request != requests_.end()) {
        if (!isWritten) {
            End(number, Refusal::kNotAudited, "");
        } else if (connections_.count(request->second.connection) == 0) {
            Drop(number);
        } else {
            Enqueue(number);
        }
    }
}

void Dispatcher::ForgetAudited() {
    const auto isAuditing = [this](RequestNumber number) {
        const auto request = requests_.find(number);
        return request != requests_.end() && request->second.state == State::kAuditing;
    };
    while (!auditing_.empty() && !isAuditing(auditing_.front())) {
        auditing_.pop_front();
    }
}

void Dispatcher::EndUnaudited() {
    while (!auditing_.empty() && requests_.at(auditing_.front()).received + kLongestAudit <= ports_.Now()) {
        End(auditing_.front(), Refusal::kNotAudited, "the disk does not take its row");
    }
}

bool Dispatcher::Enqueue(RequestNumber number) {
    Request& request = requests_.at(number);
    request.state = State::kQueued;
    ForgetAudited();
    const std::int32_t gateway = request.content.lock.gateway;
    const auto refusal = queues_[gateway].Add(request.client, number, request.received, ports_.Now());
    if (refusal) {
        EndByQueue({number, *refusal});
    }
    AdvanceQueue(gateway);
    return !refusal;
}

bool Dispatcher::IsMuxReady() const {
    return muxReady_ && *muxReady_ <= ports_.Now();
}

void Dispatcher::Advance() {
    EndUnaudited();
    for (auto queue = queues_.begin(); queue != queues_.end();) {
        const std::int32_t gateway = queue->first;
        ++queue;
        AdvanceQueue(gateway);
    }
}

void Dispatcher::AdvanceQueue(std::int32_t gateway) {
    const auto queue = queues_.find(gateway);
    const QueueWork work = queue->second.Advance(ports_.Now(), IsMuxReady());
    for (const RequestNumber number : work.toSend) {
        Send(number);
    }
    for (const QueueWork::Ended& ended : work.ended) {
        EndByQueue(ended);
    }
    if (queue->second.IsIdle()) {
        queues_.erase(queue);
    }
}

std::optional<Time> Dispatcher::NextTime() const {
    std::optional<Time> next;
    if (!auditing_.empty()) {
        next = requests_.at(auditing_.front()).received + kLongestAudit;
    }
    const bool isMuxReady = IsMuxReady();
    if (muxReady_ && !isMuxReady && !queues_.empty()) {
        next = !next ? muxReady_ : std::min(*next, *muxReady_);
    }
    for (const auto& [gateway, queue] : queues_) {
        const std::optional<Time> time = queue.NextTime(isMuxReady);
        next = !next ? time : !time ? next : std::min(*next, *time);
    }
    return next;
}

bool Dispatcher::IsFree(std::int32_t gateway) const {
    const auto queue = queues_.find(gateway);
    return IsMuxReady() && (queue == queues_.end() || queue->second.Length() == 0);
}

std::map<std::int32_t, std::size_t> Dispatcher::QueueLengths() const {
    std::map<std::int32_t, std::size_t> lengths;
    for (const auto& [gateway, queue] : queues_) {
        if (queue.Length() != 0) {
            lengths.emplace(gateway, queue.Length());
        }
    }
    return lengths;
}

std::set<std::int32_t> Dispatcher::SilentGateways() const {
    std::set<std::int32_t> silent;
    for (const auto& [gateway, queue] : queues_) {
        if (queue.IsSilent()) {
            silent.insert(gateway);
        }
    }
    return silent;
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
    ForgetAudited();
    const auto load = loads_.find(request.client);
    load->second.bytes -= SizeOf(request.content);
    if (--load->second.requests == 0) {
        loads_.erase(load);
    }
    if (connections_.count(request.connection) != 0) {
        ports_.SendToClient(request.connection, answer);
    }
    const auto elapsed = duration_cast<milliseconds>(ports_.Now() - request.received);
    ports_.RequestEnded({number, request.client, request.content}, {result, errorCode, elapsed});
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
    const std::int32_t gateway = request.content.lock.gateway;
    const std::string answer = Readdressed(text, request.content.clientId);
    if (read.status) {
        ports_.StatusCame(request.content.lock, *read.status);
    }
    queues_.at(gateway).Answered(number);
    Complete(number, answer, read.isAck ? "ack" : "nack", read.errorCode, "");
    AdvanceQueue(gateway);
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
    AuditRow row = EventRow(read);
    ports_.EventCame(row);
    audit_.Add(0, std::move(row));
    for (const auto& [number, client] : connections_) {
        if (client.wantsEvents && rights_->SeesEvent(client.name, read.gateway, read.lockBits)) {
            ports_.SendToClient(number, text);
        }
    }
}

}  // namespace MuxProxy
