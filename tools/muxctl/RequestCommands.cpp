// The commands that send one thing.

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/client/Client.h"
#include "tools/client/Packet.h"
#include "tools/client/RequestCheck.h"
#include "tools/muxctl/Commands.h"
#include "tools/muxctl/Conversation.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/InputFile.h"
#include "tools/muxctl/RequestSeries.h"
#include "tools/muxctl/RequestStep.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

using MuxClient::Client;
using MuxClient::Request;

// Of a text that somebody gave us. Looked at before there is a connection, for no Mux can take it.
Request Fitting(Request request) {
    try {
        MuxClient::BuildPacket(request.text);
    } catch (const std::length_error& error) {
        throw UsageError(error.what());
    }
    return request;
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
        console.Complain("not sent; use --anyway to send it");
    }
    return faults.empty();
}

void SendOnly(const Request& request, const Options& options) {
    Client client(options.mux, options.timeout);
    client.SendOnly(request, options.timeout);
}

}  // namespace

int RunRequest(const RequestKind& kind, const Options& options, const Console& console) {
    return SendSeries(StepsFor(kind, options.request), AfterFailure::kGoOn, options, console);
}

int RunSend(const Options& options, const Console& console) {
    const Request request =
        Fitting(Request::FromText(options.file.empty() ? options.text : ReadWholeFile(options.file)));
    if (!options.sendsUnsafe && !IsSafe(request.text, console)) {
        return kUsageStatus;
    }
    if (!options.waitsForAnswer) {
        SendOnly(request, options);
        return kAckStatus;
    }
    return Conversation(options, console).AskAndPrint(request, "request \"" + request.id + "\"");
}

}  // namespace Muxctl
