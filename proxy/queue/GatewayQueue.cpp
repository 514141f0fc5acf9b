#include "proxy/queue/GatewayQueue.h"

#include <algorithm>
#include <utility>

namespace MuxProxy {

std::optional<QueueEnding> GatewayQueue::Add(const std::string& client, RequestNumber request, Time received,
                                             Time now) {
    const bool isTrial = IsSilent() && turns_.empty() && now >= lastTrial_ + times_.betweenTrials;
    if (IsSilent() && !isTrial) {
        return QueueEnding::kSilent;
    }
    if (isTrial) {
        lastTrial_ = now;
    }
    std::deque<Waiting>& requests = TurnOf(client).requests;
    if (requests.size() == kMostWaiting) {
        return QueueEnding::kNoRoom;
    }
    requests.push_back({request, received});
    return std::nullopt;
}

GatewayQueue::Turn& GatewayQueue::TurnOf(const std::string& client) {
    const auto turn =
        std::find_if(turns_.begin(), turns_.end(), [&client](const Turn& other) { return other.client == client; });
    return turn != turns_.end() ? *turn : turns_.emplace_back(Turn{client, {}});
}

bool GatewayQueue::Drop(const std::string& client, RequestNumber request) {
    std::deque<Waiting>& requests = TurnOf(client).requests;
    const auto waiting = std::find_if(requests.begin(), requests.end(),
                                      [request](const Waiting& other) { return other.request == request; });
    const bool isHere = waiting != requests.end();
    if (isHere) {
        requests.erase(waiting);
    }
    RemoveEmptyTurns();
    return isHere;
}

void GatewayQueue::RemoveEmptyTurns() {
    turns_.erase(std::remove_if(turns_.begin(), turns_.end(), [](const Turn& turn) { return turn.requests.empty(); }),
                 turns_.end());
}

QueueWork GatewayQueue::Advance(Time now, bool isMuxThere) {
    QueueWork work;
    EndUnanswered(now, work);
    EndWaiting(now, isMuxThere ? QueueEnding::kTooLong : QueueEnding::kMuxAway, work);
    const std::optional<Time> next = NextSend();
    if (isMuxThere && next && *next <= now) {
        work.toSend.push_back(TakeNext());
        open_.push_back({work.toSend.back(), now});
        lastUnanswered_ = now;
    }
    return work;
}

void GatewayQueue::EndUnanswered(Time now, QueueWork& work) {
    while (!open_.empty() && open_.front().sent + times_.longestAnswer <= now) {
        work.ended.push_back({open_.front().request, QueueEnding::kNoAnswer});
        open_.pop_front();
        ++unansweredInARow_;
        if (unansweredInARow_ == kSilentAfter) {
            lastTrial_ = now;
            EndAllWaiting(work);
        }
    }
}

void GatewayQueue::EndAllWaiting(QueueWork& work) {
    for (const Turn& turn : std::exchange(turns_, {})) {
        for (const Waiting& waiting : turn.requests) {
            work.ended.push_back({waiting.request, QueueEnding::kSilent});
        }
    }
}

void GatewayQueue::EndWaiting(Time now, QueueEnding ending, QueueWork& work) {
    for (Turn& turn : turns_) {
        while (!turn.requests.empty() && turn.requests.front().received + times_.longestWait <= now) {
            work.ended.push_back({turn.requests.front().request, ending});
            turn.requests.pop_front();
        }
    }
    RemoveEmptyTurns();
}

std::optional<Time> GatewayQueue::NextSend() const {
    if (turns_.empty() || open_.size() >= kMostOpen) {
        return std::nullopt;
    }
    return lastUnanswered_ ? *lastUnanswered_ + times_.betweenUnanswered : Time::min();
}

RequestNumber GatewayQueue::TakeNext() {
    Turn turn = std::move(turns_.front());
    turns_.pop_front();
    const RequestNumber request = turn.requests.front().request;
    turn.requests.pop_front();
    if (!turn.requests.empty()) {
        turns_.push_back(std::move(turn));
    }
    return request;
}

bool GatewayQueue::Answered(RequestNumber request) {
    const auto open =
        std::find_if(open_.begin(), open_.end(), [request](const Open& other) { return other.request == request; });
    if (open == open_.end()) {
        return false;
    }
    if (std::next(open) == open_.end()) {
        lastUnanswered_.reset();
    }
    open_.erase(open);
    unansweredInARow_ = 0;
    return true;
}

void GatewayQueue::LoseSent(std::vector<QueueWork::Ended>& ended) {
    for (const Open& open : std::exchange(open_, {})) {
        ended.push_back({open.request, QueueEnding::kMuxLost});
    }
    lastUnanswered_.reset();
    unansweredInARow_ = 0;
}

std::size_t GatewayQueue::Length() const {
    std::size_t length = open_.size();
    for (const Turn& turn : turns_) {
        length += turn.requests.size();
    }
    return length;
}

std::optional<Time> GatewayQueue::NextTime(bool isMuxThere) const {
    std::optional<Time> next;
    const auto consider = [&next](Time time) { next = next ? std::min(*next, time) : time; };
    if (!open_.empty()) {
        consider(open_.front().sent + times_.longestAnswer);
    }
    for (const Turn& turn : turns_) {
        consider(turn.requests.front().received + times_.longestWait);
    }
    const std::optional<Time> send = NextSend();
    if (isMuxThere && send) {
        consider(*send);
    }
    return next;
}

}  // namespace MuxProxy
