#include "tools/muxctl/WhitelistLoader.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "tools/muxctl/WaitIndicator.h"

namespace Muxctl {
namespace {

using MuxClient::Message;
using MuxClient::Refusal;
using State = LoadStep::State;

constexpr int kMostTries = 3;
constexpr std::int32_t kAlreadyInWhitelist = 2;
// With each of these the gateway, or the Mux, would refuse the lock's other cards too: refused by the Mux itself,
// whitelist full, request not supported, no such lock; not allowed by the proxy.
constexpr std::array<std::int32_t, 5> kOfWholeLock = {0, 3, 6, 8, -1};

bool IsToDo(const LoadStep* step) {
    return step->state == State::kToDo;
}

bool ConcernsWholeLock(const LoadStep& step, const Refusal& refusal) {
    return step.kind != LoadStep::Kind::kAdd ||
           std::find(kOfWholeLock.begin(), kOfWholeLock.end(), refusal.errorCode) != kOfWholeLock.end();
}

// Whether a proxy sent it instead of the gateway's answer.
bool IsWorthRepeating(const Message& answer) {
    using MuxClient::ProxyError;
    constexpr std::array kErrors = {ProxyError::kNotSent, ProxyError::kNoAnswer, ProxyError::kMuxAway,
                                    ProxyError::kNotAudited};
    return answer.refusal &&
           std::any_of(kErrors.begin(), kErrors.end(), [&](ProxyError error) { return answer.refusal->Is(error); });
}

void Leave(LoadStep& step, const LoadStep& because) {
    step.state = State::kNotSent;
    step.reason = because.reason;
    step.error = because.error;
}

}  // namespace

WhitelistLoader::WhitelistLoader(MuxClient::Client& client, LoadPlan& plan, LoadJournal& journal,
                                 std::chrono::milliseconds timeout)
    : client_(client), plan_(plan), journal_(journal), timeout_(timeout) {
    for (LoadStep& step : plan_) {
        queues_[step.lock.gateway].steps.push_back(&step);
    }
}

void WhitelistLoader::Run(const std::function<void()>& whileWaiting) {
    for (auto& [gateway, queue] : queues_) {
        SendNext(queue);
    }
    while (waiting_ > 0) {
        whileWaiting();
        client_.Wait(WaitIndicator::kPeriod);
    }
}

std::size_t WhitelistLoader::DoneCount() const {
    return plan_.size() - static_cast<std::size_t>(std::count_if(plan_.begin(), plan_.end(),
                                                                 [](const LoadStep& step) { return IsToDo(&step); }));
}

void WhitelistLoader::SendNext(Queue& queue) {
    while (queue.next < queue.steps.size() && !IsToDo(queue.steps.at(queue.next))) {
        ++queue.next;
    }
    if (queue.next == queue.steps.size()) {
        return;
    }
    const auto take = [this, &queue](const std::optional<Message>& answer) {
        --waiting_;
        Take(queue, answer);
        SendNext(queue);
    };
    client_.Send(queue.steps.at(queue.next)->Build(), take, timeout_);
    ++waiting_;
    ++queue.tries;
}

void WhitelistLoader::Take(Queue& queue, const std::optional<Message>& answer) {
    if (!answer || IsWorthRepeating(*answer)) {
        TakeSilence(queue, answer ? answer->refusal->message : "no answer");
        return;
    }
    queue.tries = 0;
    if (answer->refusal) {
        TakeRefusal(queue, *answer->refusal);
    } else {
        Succeed(*queue.steps.at(queue.next), State::kDone);
    }
}

void WhitelistLoader::TakeSilence(Queue& queue, const std::string& reason) {
    if (queue.tries < kMostTries) {
        return;
    }
    LoadStep& unanswered = *queue.steps.at(queue.next);
    unanswered.state = State::kUnanswered;
    unanswered.reason = reason;
    for (LoadStep* const step : queue.steps) {
        if (IsToDo(step)) {
            Leave(*step, unanswered);
        }
    }
}

void WhitelistLoader::TakeRefusal(Queue& queue, const Refusal& refusal) {
    LoadStep& refused = *queue.steps.at(queue.next);
    if (refused.kind == LoadStep::Kind::kAdd && refusal.errorCode == kAlreadyInWhitelist) {
        Succeed(refused, State::kAlreadyListed);
        return;
    }
    refused.state = State::kRefused;
    refused.reason = refusal.message;
    refused.error = refusal.errorCode;
    for (LoadStep* const step : queue.steps) {
        if (IsToDo(step) && step->lock.lock == refused.lock.lock && ConcernsWholeLock(refused, refusal)) {
            Leave(*step, refused);
        }
    }
}

void WhitelistLoader::Succeed(LoadStep& step, State state) {
    step.state = state;
    journal_.Add(step);
}

}  // namespace Muxctl
