#include "tools/client/PendingRequests.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "tools/client/Packet.h"

namespace MuxClient {
namespace {

// The deadline of a request that is not sent yet: it has none.
constexpr PendingRequests::Clock::time_point kNotSent = PendingRequests::Clock::time_point::max();

}  // namespace

void PendingRequests::Add(const Request& request, Client::AnswerHandler handler, std::chrono::milliseconds timeout) {
    Pending pending = {std::move(handler), timeout, request.gateway, BuildPacket(request.text), kNotSent};
    const auto [position, isNew] = requests_.emplace(request.id, std::move(pending));
    if (!isNew) {
        throw std::invalid_argument("a request with the identifier \"" + request.id + "\" is already waiting");
    }
    if (!request.gateway) {
        Send(position->second);
        return;
    }
    std::deque<std::string>& queue = queues_[*request.gateway];
    queue.push_back(request.id);
    if (queue.size() == 1) {
        Send(position->second);
    }
}

Client::AnswerHandler PendingRequests::Take(const std::string& id) {
    const auto position = requests_.find(id);
    const bool isSent = position != requests_.end() && position->second.deadline != kNotSent;
    return isSent ? Remove(position) : nullptr;
}

Client::AnswerHandler PendingRequests::TakeExpired() {
    const auto next = NextToExpire();
    return next != requests_.end() && next->second.deadline <= Clock::now() ? Remove(next) : nullptr;
}

PendingRequests::Clock::time_point PendingRequests::NextDeadline() {
    const auto next = NextToExpire();
    return next != requests_.end() ? next->second.deadline : kNotSent;
}

PendingRequests::Requests::iterator PendingRequests::NextToExpire() {
    return std::min_element(requests_.begin(), requests_.end(), [](const auto& left, const auto& right) {
        return left.second.deadline < right.second.deadline;
    });
}

void PendingRequests::Forget(const std::string& id) {
    const auto position = requests_.find(id);
    if (position == requests_.end()) {
        return;
    }
    Pending& request = position->second;
    if (request.deadline != kNotSent) {
        request.handler = nullptr;
        return;
    }
    std::deque<std::string>& queue = queues_.at(request.gateway.value_or(0));
    queue.erase(std::find(queue.begin(), queue.end(), id));
    requests_.erase(position);
}

void PendingRequests::Send(Pending& request) {
    request.deadline = Clock::now() + request.timeout;
    send_(std::move(request.packet));
}

void PendingRequests::SendNextTo(std::int32_t gateway) {
    const auto queue = queues_.find(gateway);
    queue->second.pop_front();
    if (queue->second.empty()) {
        queues_.erase(queue);
    } else {
        Send(requests_.at(queue->second.front()));
    }
}

Client::AnswerHandler PendingRequests::Remove(Requests::iterator position) {
    Pending request = std::move(position->second);
    requests_.erase(position);
    if (request.gateway) {
        SendNextTo(*request.gateway);
    }
    return std::move(request.handler);
}

}  // namespace MuxClient
