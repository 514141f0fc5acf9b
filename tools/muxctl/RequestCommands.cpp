// The commands that send one thing.

#include <array>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/client/Client.h"
#include "tools/client/Packet.h"
#include "tools/client/RequestCheck.h"
#include "tools/muxctl/AnswerText.h"
#include "tools/muxctl/Commands.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/InputFile.h"
#include "tools/muxctl/Seconds.h"
#include "tools/muxctl/UsageError.h"
#include "tools/muxctl/WaitIndicator.h"

namespace Muxctl {
namespace {

using MuxClient::Client;
using MuxClient::Message;
using MuxClient::Request;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

milliseconds Since(Clock::time_point start) {
    return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
}

struct Outcome {
    // Nothing when none came in time.
    std::optional<Message> answer;
    milliseconds elapsed{0};
};

// Asks, and shows on a terminal that it still waits.
Outcome Ask(const Request& request, const Options& options, const Console& console) {
    Client client(options.mux, options.timeout);
    WaitIndicator indicator(console.error, console.hasIndicator);
    const Clock::time_point start = Clock::now();
    const auto draw = [&] { indicator.Draw(Since(start)); };
    const std::optional<Message> answer = client.Ask(request, options.timeout, WaitIndicator::kPeriod, draw);
    return {answer, Since(start)};
}

// `hint` goes on where the complaint ends.
int ComplainOfSilence(const Options& options, const Console& console, const std::string& hint = "") {
    console.Complain("no answer from " + options.mux.host + ":" + std::to_string(options.mux.port) + " within " +
                     SecondsText(options.timeout) + hint);
    return kNoAnswerStatus;
}

// Asks and prints the answer; `title` names the request in it.
int AskAndPrint(const Request& request, const std::string& title, const Options& options, const Console& console) {
    const Outcome outcome = Ask(request, options, console);
    if (!outcome.answer) {
        return ComplainOfSilence(options, console, "; the request may still have been executed");
    }
    console.PrintLine(options.json ? JsonLine(*outcome.answer)
                                   : AnswerText(*outcome.answer, title, outcome.elapsed, console.style));
    return outcome.answer->IsAck() ? kAckStatus : kNackStatus;
}

std::string ReadFile(const std::string& path) {
    std::string text;
    const Diagnostics::TextReading reading = ReadInputFile(path, text);
    if (reading != Diagnostics::TextReading::kWhole) {
        throw UsageError(path + " " + InputFaultText(reading));
    }
    return text;
}

// Of a text that somebody gave us. Looked at before there is a connection, for no Mux can take it.
Request Fitting(Request request) {
    try {
        MuxClient::BuildPacket(request.text);
    } catch (const std::length_error& error) {
        throw UsageError(error.what());
    }
    return request;
}

Request BuildConfigure(const Options& options) {
    try {
        return Fitting(Request::Configure(ReadFile(options.file)));
    } catch (const std::invalid_argument& error) {
        throw UsageError(options.file + ": " + error.what());
    }
}

const char* EffectOf(MuxClient::RequestHazard hazard) {
    // By RequestHazard.
    constexpr std::array kEffects = {"the Mux would abort", "the gateway would get a broken frame",
                                     "the Mux would not answer"};
    return kEffects.at(static_cast<std::size_t>(hazard));
}

// For people: "/Data/lockID is missing; the Mux would abort".
std::string HazardText(const MuxClient::RequestFault& fault) {
    return (fault.where.empty() ? "the text" : fault.where) + " " + fault.reason + "; " + EffectOf(fault.hazard);
}

// Whether the Mux can take the text; complains if it cannot.
bool IsSafe(const std::string& text, const Console& console) {
    const std::vector<MuxClient::RequestFault> faults = MuxClient::CheckRequest(text);
    for (const MuxClient::RequestFault& fault : faults) {
        console.Complain(HazardText(fault));
    }
    if (!faults.empty()) {
        console.Complain("not sent; --anyway sends it all the same");
    }
    return faults.empty();
}

void SendOnly(const Request& request, const Options& options) {
    Client client(options.mux, options.timeout);
    client.SendOnly(request, options.timeout);
}

}  // namespace

int RunRequest(const RequestKind& kind, const Options& options, const Console& console) {
    const MuxClient::LockAddress& lock = options.request.lock;
    const std::string title =
        kind.FullName() + ", gateway " + std::to_string(lock.gateway) + ", lock " + std::to_string(lock.lock);
    return AskAndPrint(kind.build(options.request), title, options, console);
}

int RunSend(const Options& options, const Console& console) {
    const Request request = Fitting(Request::FromText(options.file.empty() ? options.text : ReadFile(options.file)));
    if (!options.sendsUnsafe && !IsSafe(request.text, console)) {
        return kUsageStatus;
    }
    if (!options.waitsForAnswer) {
        SendOnly(request, options);
        return kAckStatus;
    }
    return AskAndPrint(request, "request \"" + request.id + "\"", options, console);
}

int RunConfigure(const Options& options, const Console& console) {
    SendOnly(BuildConfigure(options), options);
    console.Complain("sent; the Mux ignores configuration messages: start it with --configFile");
    return kAckStatus;
}

int RunHealth(const Options& options, const Console& console) {
    const Outcome outcome = Ask(Request::GetWhitelist({}), options, console);
    if (!outcome.answer) {
        return ComplainOfSilence(options, console);
    }
    console.PrintLine(options.json ? JsonLine(*outcome.answer)
                                   : options.mux.host + ":" + std::to_string(options.mux.port) + " answers (" +
                                         SecondsText(outcome.elapsed) + ")");
    return kAckStatus;
}

}  // namespace Muxctl
