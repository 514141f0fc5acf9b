#include "tools/muxctl/RequestSeries.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <sstream>
#include <string>

#include "tools/client/Errors.h"
#include "tools/muxctl/AnswerText.h"
#include "tools/muxctl/Conversation.h"
#include "tools/muxctl/Counted.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/JsonLines.h"
#include "tools/muxctl/PeerHint.h"

namespace Muxctl {
namespace {

// Why a request has no answer, for programs.
constexpr const char* kTimeOut = "time-out";
constexpr const char* kNoConnection = "no connection";
constexpr const char* kLostConnection = "connection lost";
constexpr const char* kNoMux = "not a Mux";
constexpr const char* kStopped = "stopped";

// By exit status.
constexpr std::array kStateNames = {"done", "refused", "unanswered"};
constexpr const char* kNotSent = "not sent";

class Series {
  public:
    Series(const std::vector<RequestStep>& steps, const Options& options, const Console& console)
        : steps_(steps), options_(options), console_(console) {}

    int Send(AfterFailure afterFailure) {
        try {
            Conversation conversation(options_, console_);
            while (next_ < steps_.size() && (worst_ == kAckStatus || afterFailure == AfterFailure::kGoOn)) {
                SendNext(conversation);
            }
        } catch (const SilentPeer&) {
            ReportEnd(kTimeOut, kStopped);
            throw;
        } catch (const MuxClient::ConnectionError&) {
            const char* const reason = next_ == 0 ? kNoConnection : kLostConnection;
            ReportEnd(reason, reason);
            throw;
        } catch (const MuxClient::ProtocolError&) {
            ReportEnd(kNoMux, kNoMux);
            throw;
        }
        ReportRest(kStopped);
        return worst_;
    }

  private:
    bool IsBatch() const { return !steps_.front().place.empty(); }
    bool NamesRequests() const { return steps_.size() > 1 || IsBatch(); }

    void SendNext(Conversation& conversation) {
        const RequestStep& step = steps_.at(next_++);
        const Conversation::Outcome outcome = conversation.Ask(step.Build());
        int status = kNoAnswerStatus;
        if (outcome.answer) {
            status = StatusFor(*outcome.answer);
            PrintAnswer(step, outcome, kStateNames.at(static_cast<std::size_t>(status)));
        } else {
            PrintMissing(step, kStateNames.back(), kTimeOut);
            conversation.ComplainOfSilence(SubjectOf(step), SilenceHint(options_));
        }
        worst_ = std::max(worst_, status);
    }

    // For a complaint about this request.
    std::string SubjectOf(const RequestStep& step) const {
        if (!NamesRequests()) {
            return "";
        }
        return (IsBatch() ? step.place + ": " : "") + step.Title() + ": ";
    }

    void PrintAnswer(const RequestStep& step, const Conversation::Outcome& outcome, const char* state) const {
        if (!options_.json) {
            console_.PrintLine(AnswerText(*outcome.answer, step.Title(), outcome.elapsed, console_.style));
            return;
        }
        const std::string answer = JsonLine(*outcome.answer);
        console_.PrintLine(NamesRequests() ? JsonText(step, state, "Answer", answer) : answer);
    }

    void PrintMissing(const RequestStep& step, const char* state, const std::string& reason) const {
        if (options_.json && NamesRequests()) {
            console_.PrintLine(JsonText(step, state, "Reason", "\"" + reason + "\""));
        }
    }

    // The last member has a value in JSON.
    static std::string JsonText(const RequestStep& step, const char* state, const char* last,
                                const std::string& value) {
        std::ostringstream text;
        rapidjson::OStreamWrapper stream(text);
        JsonWriter writer(stream);
        writer.StartObject();
        Write(writer, "Request", step.kind->FullName());
        writer.Key("Gateway");
        writer.Int(step.options.lock.gateway);
        writer.Key("Lock");
        writer.Int(step.options.lock.lock);
        if (!step.place.empty()) {
            Write(writer, "Place", step.place);
        }
        Write(writer, "State", state);
        writer.Key(last);
        writer.RawValue(value.data(), value.size(), rapidjson::kObjectType);
        writer.EndObject();
        return text.str();
    }

    // After what ends the program: the last request that was sent has no answer.
    void ReportEnd(const char* reason, const char* reasonOfRest) {
        if (next_ > 0) {
            PrintMissing(steps_.at(next_ - 1), kStateNames.back(), reason);
        }
        ReportRest(reasonOfRest);
    }

    void ReportRest(const char* reason) {
        const std::size_t left = steps_.size() - next_;
        if (left > 0 && next_ > 0) {
            const RequestStep& last = steps_.at(next_ - 1);
            console_.Complain("stopped after " + (IsBatch() ? last.place : last.Title()) +
                              "; not sent: " + std::to_string(left) + " of " + Counted(steps_.size(), "request"));
        }
        for (; next_ < steps_.size(); ++next_) {
            PrintMissing(steps_.at(next_), kNotSent, reason);
        }
    }

    const std::vector<RequestStep>& steps_;
    const Options& options_;
    const Console& console_;
    // Those before it are sent.
    std::size_t next_ = 0;
    int worst_ = kAckStatus;
};

}  // namespace

int SendSeries(const std::vector<RequestStep>& steps, AfterFailure afterFailure, const Options& options,
               const Console& console) {
    return steps.empty() ? kAckStatus : Series(steps, options, console).Send(afterFailure);
}

}  // namespace Muxctl
