#include "proxy/status/StatusAsker.h"

#include <algorithm>

#include "proxy/dispatch/Answers.h"

namespace MuxProxy {
namespace {

using Clock = std::chrono::steady_clock;

// How often a gateway is looked at that is not free.
constexpr std::chrono::seconds kBetweenLooks{1};

std::vector<MuxClient::LockAddress> AddressesOf(const MuxLocks& locks) {
    std::vector<MuxClient::LockAddress> addresses;
    for (const MuxLock& lock : locks) {
        addresses.push_back(lock.address);
    }
    return addresses;
}

// A gateway that refuses has answered. With the Mux, what it kept of unanswered requests has gone.
StatusRound::Outcome OutcomeOf(const std::string& answer, bool isMuxReady) {
    switch (static_cast<Refusal>(ReadMuxText(answer).errorCode)) {
        case Refusal::kNoAnswer:
            return isMuxReady ? StatusRound::Outcome::kUnanswered : StatusRound::Outcome::kNotAsked;
        case Refusal::kNotSent:
        case Refusal::kMuxAway:
            return StatusRound::Outcome::kNotAsked;
        default:
            return StatusRound::Outcome::kAnswered;
    }
}

}  // namespace

StatusAsker::StatusAsker(boost::asio::io_context& loop, Dispatcher& dispatcher, Insiders& insiders,
                         const MuxLocks& locks, std::chrono::seconds period)
    : timer_(loop), dispatcher_(dispatcher), insiders_(insiders), round_(AddressesOf(locks), period, Clock::now()) {
    Plan();
}

void StatusAsker::Stop() {
    timer_.cancel();
}

void StatusAsker::Plan() {
    const std::optional<Time> next = round_.NextTime();
    if (!next) {
        return;
    }
    timer_.expires_at(std::max(*next, Clock::now() + kBetweenLooks));
    timer_.async_wait([this](const boost::system::error_code& error) {
        if (!error) {
            AskNext();
        }
    });
}

void StatusAsker::AskNext() {
    const auto lock = round_.Next(Clock::now(), [this](std::int32_t gateway) { return dispatcher_.IsFree(gateway); });
    if (lock) {
        insiders_.Ask({"", "status-round"}, MuxClient::Request::Status(*lock).text,
                      [this](const std::string& answer) { Take(answer); });
    } else {
        Plan();
    }
}

void StatusAsker::Take(const std::string& answer) {
    round_.Ended(OutcomeOf(answer, dispatcher_.IsMuxReady()), Clock::now());
    Plan();
}

}  // namespace MuxProxy
