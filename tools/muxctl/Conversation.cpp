#include "tools/muxctl/Conversation.h"

#include "tools/muxctl/AnswerText.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/PeerHint.h"
#include "tools/muxctl/Seconds.h"
#include "tools/muxctl/WaitIndicator.h"

namespace Muxctl {

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
    try {
        const std::optional<MuxClient::Message> answer =
            client_.Ask(request, options_.timeout, WaitIndicator::kPeriod, draw);
        return {answer, TimeSince(start)};
    } catch (const MuxClient::CertificateError&) {
        throw;
    } catch (const MuxClient::ConnectionError& error) {
        throw MuxClient::ConnectionError(error.what() + std::string(kLostConnectionHint));
    }
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
    console_.Complain(subject + "no answer from " + options_.mux.host + ":" + std::to_string(options_.mux.port) +
                      " within " + SecondsText(options_.timeout) + hint);
    return kNoAnswerStatus;
}

}  // namespace Muxctl
