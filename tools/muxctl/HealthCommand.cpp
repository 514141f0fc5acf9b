// health: of the Mux alone, of one gateway, or of all gateways of a site.

#include <algorithm>
#include <chrono>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "tools/client/Client.h"
#include "tools/muxctl/AnswerText.h"
#include "tools/muxctl/Commands.h"
#include "tools/muxctl/Conversation.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/GatewayHealth.h"
#include "tools/muxctl/HealthReport.h"
#include "tools/muxctl/PeerHint.h"
#include "tools/muxctl/Seconds.h"
#include "tools/muxctl/UsageError.h"
#include "tools/muxctl/WaitIndicator.h"

namespace Muxctl {
namespace {

using MuxClient::Client;

// A request may go unanswered when the Mux's own question falls into the same 300 ms. Twice in a row it does not.
constexpr int kRounds = 2;

// A gateway that no site has.
constexpr std::int32_t kNoGateway = std::numeric_limits<std::int32_t>::min();

// This request the Mux refuses by itself, without any gateway. A proxy forwards no other that it would refuse.
MuxClient::Request QuestionToTheMux(const Options& options) {
    return options.mux.tls ? MuxClient::Request::Status({kNoGateway, kNoLock}) : MuxClient::Request::GetWhitelist({});
}

// The proxy answers, but not the Mux.
int ComplainOfProxy(const MuxClient::Refusal& refusal, const Options& options, const Console& console) {
    const bool isNotAllowed = refusal.Is(MuxClient::ProxyError::kNotAllowed);
    const std::string hint =
        isNotAllowed ? "; without --gateway this requires the right \"status\" for all gateways and locks" : "";
    console.Complain("the proxy at " + PeerName(options) + " answers: " + refusal.message + hint);
    return isNotAllowed ? kNackStatus : kNoAnswerStatus;
}

int AskMux(const Options& options, const Console& console) {
    Conversation conversation(options, console);
    const Conversation::Outcome outcome = conversation.Ask(QuestionToTheMux(options));
    if (!outcome.answer) {
        return conversation.ComplainOfSilence("", kPortHint);
    }
    if (outcome.answer->refusal && outcome.answer->refusal->errorCode < 0) {
        return ComplainOfProxy(*outcome.answer->refusal, options, console);
    }
    console.PrintLine(options.json ? JsonLine(*outcome.answer)
                                   : PeerName(options) + " answers (" + SecondsText(outcome.elapsed) + ")");
    return kAckStatus;
}

int CheckMux(const Options& options, const Console& console) {
    if (!options.foreignPort.empty()) {
        console.Complain(options.foreignPort);
        return kNoAnswerStatus;
    }
    try {
        return AskMux(options, console);
    } catch (const SilentPeer& peer) {
        console.Complain(peer.Reason() + kPortHint);
        return kNoAnswerStatus;
    }
}

bool HaveSameId(const GatewayHealth& left, const GatewayHealth& right) {
    return left.id == right.id;
}

// Each ID once, in order.
std::vector<GatewayHealth> AllGateways(const Options& options) {
    if (!options.site) {
        throw UsageError("--all requires --site or --config");
    }
    std::vector<GatewayHealth> gateways;
    for (const SiteGateway& gateway : options.site->gateways) {
        gateways.push_back({gateway.id, gateway.name});
    }
    std::stable_sort(gateways.begin(), gateways.end(),
                     [](const GatewayHealth& left, const GatewayHealth& right) { return left.id < right.id; });
    gateways.erase(std::unique(gateways.begin(), gateways.end(), HaveSameId), gateways.end());
    return gateways;
}

std::vector<GatewayHealth> OneGateway(std::int32_t id, const Options& options) {
    GatewayHealth only;
    only.id = id;
    if (options.site) {
        const auto& gateways = options.site->gateways;
        const auto found = std::find_if(gateways.begin(), gateways.end(),
                                        [id](const SiteGateway& gateway) { return gateway.id == id; });
        only.name = found == gateways.end() ? "" : found->name;
    }
    return {only};
}

bool AreAllSilent(const std::vector<GatewayHealth>& gateways) {
    return std::all_of(gateways.begin(), gateways.end(),
                       [](const GatewayHealth& gateway) { return gateway.state == GatewayHealth::State::kSilent; });
}

HealthReport CheckGateways(std::vector<GatewayHealth> gateways, const Options& options, const Console& console) {
    Client client(options.mux, options.timeout);
    WaitIndicator indicator(console.error, console.hasIndicator);
    const auto start = std::chrono::steady_clock::now();
    const auto draw = [&] { indicator.Draw(TimeSince(start)); };
    for (int round = 0; round < kRounds; ++round) {
        AskSilentGateways(client, gateways, options.timeout, draw);
        const bool doubtsMux = round == 0 && AreAllSilent(gateways);
        if (doubtsMux && !client.Ask(QuestionToTheMux(options), options.timeout, WaitIndicator::kPeriod, draw)) {
            return Critical("the Mux at " + PeerName(options) + " does not answer", gateways);
        }
    }
    return SumUp(std::move(gateways));
}

// A monitoring system reads the reason of a failure from standard output.
HealthReport ReportOn(const std::vector<GatewayHealth>& gateways, const Options& options, const Console& console) {
    if (gateways.empty()) {
        return Critical("the configuration has no gateways");
    }
    if (!options.foreignPort.empty()) {
        return Critical(options.foreignPort);
    }
    try {
        return CheckGateways(gateways, options, console);
    } catch (const MuxClient::ConnectionError& error) {
        return Critical(error.what());
    } catch (const MuxClient::ProtocolError& error) {
        return Critical(error.what() + std::string(kPortHint));
    }
}

}  // namespace

int RunHealth(const Options& options, const Console& console) {
    if (!options.gateway && !options.checksAll) {
        return CheckMux(options, console);
    }
    const HealthReport report =
        ReportOn(options.checksAll ? AllGateways(options) : OneGateway(*options.gateway, options), options, console);
    std::ostringstream text;
    if (options.json) {
        WriteJsonHealth(report, text);
    } else {
        WriteHealth(report, console.style, text);
    }
    console.PrintLine(text.str());
    return static_cast<int>(report.level);
}

}  // namespace Muxctl
