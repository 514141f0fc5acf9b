#include "tools/muxctl/Conversation.h"

#include "tools/muxctl/AnswerText.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/PeerHint.h"
#include "tools/muxctl/Seconds.h"
#include "tools/muxctl/WaitIndicator.h"

namespace Muxctl {
namespace {

// A Mux refuses the second request at once, but may look at a new client only after a second.
constexpr std::chrono::milliseconds kPatience{2000};
constexpr std::chrono::milliseconds kLongestDoubt{3000};

}  // namespace

SilentPeer::SilentPeer(const std::string& peer, std::chrono::milliseconds elapsed)
    : SilentPeer("no answer from " + peer + " within " + SecondsText(elapsed) +
                 ", not even to a request that a Mux refuses by itself") {}

SilentPeer::SilentPeer(const std::string& reason)
    : ConnectionError(reason + kExecutionHint + kPortHint), reason_(reason) {}

int StatusFor(const MuxClient::Message& answer) {
    if (answer.refusal && answer.refusal->Is(MuxClient::ProxyError::kNoAnswer)) {
        return kNoAnswerStatus;
    }
    return answer.IsAck() ? kAckStatus : kNackStatus;
}

Conversation::Conversation(const Options& options, const Console& console)
    : options_(options), console_(console), client_(options.mux, options.timeout) {}

Conversation::Outcome Conversation::Ask(const MuxClient::Request& request) {
    WaitIndicator indicator(console_.error, console_.hasIndicator);
    const auto start = std::chrono::steady_clock::now();
    const auto draw = [&] { indicator.Draw(TimeSince(start)); };
    // A certificate has shown already whose port it is.
    const bool doubtsPeer = options_.hasDefaultTimeout && !options_.mux.tls && !hasHeard_;
    try {
        const std::optional<MuxClient::Message> answer =
            doubtsPeer ? AskStranger(request, draw)
                       : client_.Ask(request, options_.timeout, WaitIndicator::kPeriod, draw);
        hasHeard_ = hasHeard_ || answer;
        return {answer, TimeSince(start)};
    } catch (const MuxClient::CertificateError&) {
        throw;
    } catch (const SilentPeer&) {
        throw;
    } catch (const MuxClient::ConnectionError& error) {
        throw MuxClient::ConnectionError(error.what() + std::string(kLostConnectionHint));
    }
}

std::optional<MuxClient::Message> Conversation::AskStranger(const MuxClient::Request& request,
                                                            const std::function<void()>& whileWaiting) {
    // The client may be destroyed before it has called the handlers.
    const auto first = std::make_shared<Answer>();
    const auto second = std::make_shared<Answer>();
    const auto start = std::chrono::steady_clock::now();
    Send(request, first, options_.timeout);
    while (!first->isOver) {
        whileWaiting();
        client_.Wait(WaitIndicator::kPeriod);
        if (!second->isSent && !first->isOver && TimeSince(start) >= kPatience) {
            MuxClient::Request question = MuxClient::Request::GetWhitelist({});
            // Not to wait for its turn behind the first.
            question.gateway = std::nullopt;
            Send(question, second, kLongestDoubt);
        }
        if (second->isOver && !second->message && !first->isOver) {
            throw SilentPeer(PeerName(options_), TimeSince(start));
        }
    }
    return first->message;
}

void Conversation::Send(const MuxClient::Request& request, const std::shared_ptr<Answer>& answer,
                        std::chrono::milliseconds timeout) {
    const auto keep = [answer](const std::optional<MuxClient::Message>& received) {
        answer->message = received;
        answer->isOver = true;
    };
    client_.Send(request, keep, timeout);
    answer->isSent = true;
}

int Conversation::AskAndPrint(const MuxClient::Request& request, const std::string& title) {
    const Outcome outcome = Ask(request);
    if (!outcome.answer) {
        return ComplainOfSilence("", SilenceHint(options_));
    }
    console_.PrintLine(options_.json ? JsonLine(*outcome.answer)
                                     : AnswerText(*outcome.answer, title, outcome.elapsed, console_.style));
    return StatusFor(*outcome.answer);
}

int Conversation::ComplainOfSilence(const std::string& subject, const std::string& hint) const {
    console_.Complain(subject + "no answer from " + PeerName(options_) + " within " + SecondsText(options_.timeout) +
                      hint);
    return kNoAnswerStatus;
}

}  // namespace Muxctl
