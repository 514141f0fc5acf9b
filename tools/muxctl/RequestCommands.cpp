// The commands that send one thing.

#include <optional>
#include <stdexcept>

#include "tools/client/Client.h"
#include "tools/client/Packet.h"
#include "tools/muxctl/AnswerText.h"
#include "tools/muxctl/Commands.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/InputFile.h"
#include "tools/muxctl/PeerHint.h"
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
    try {
        const std::optional<Message> answer = client.Ask(request, options.timeout, WaitIndicator::kPeriod, draw);
        return {answer, Since(start)};
    } catch (const MuxClient::ConnectionError& error) {
        throw MuxClient::ConnectionError(error.what() + std::string(kLostConnectionHint));
    }
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
        return ComplainOfSilence(options, console, SilenceHint(options));
    }
    console.PrintLine(options.json ? JsonLine(*outcome.answer)
                                   : AnswerText(*outcome.answer, title, outcome.elapsed, console.style));
    return outcome.answer->IsAck() ? kAckStatus : kNackStatus;
}

std::string ReadFile(const std::string& path) {
    std::string text;
    if (ReadInputFile(path, text) != Diagnostics::TextReading::kWhole) {
        throw UsageError("cannot read " + path);
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
    if (!options.waitsForAnswer) {
        SendOnly(request, options);
        return kAckStatus;
    }
    return AskAndPrint(request, "request \"" + request.id + "\"", options, console);
}

int RunHealth(const Options& options, const Console& console) {
    const Outcome outcome = Ask(Request::GetWhitelist({}), options, console);
    if (!outcome.answer) {
        return ComplainOfSilence(options, console, kPortHint);
    }
    console.PrintLine(options.json ? JsonLine(*outcome.answer)
                                   : options.mux.host + ":" + std::to_string(options.mux.port) + " answers (" +
                                         SecondsText(outcome.elapsed) + ")");
    return kAckStatus;
}

}  // namespace Muxctl
