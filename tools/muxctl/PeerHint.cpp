#include "tools/muxctl/PeerHint.h"

#include <algorithm>
#include <exception>

#include "tools/client/Client.h"

namespace Muxctl {
namespace {

// The Mux may notice a new client only after a second.
constexpr std::chrono::milliseconds kLongestProbe{2000};

bool IsMuxAnswering(const Options& options) {
    const std::chrono::milliseconds time = std::min(kLongestProbe, options.timeout);
    try {
        MuxClient::Client client(options.mux, time);
        return client.Ask(MuxClient::Request::GetWhitelist({}), time).has_value();
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace

std::string PeerName(const Options& options) {
    return options.mux.host + ":" + std::to_string(options.mux.port);
}

std::string SilenceHint(const Options& options) {
    const std::string warning = kExecutionHint;
    const std::string peer = options.mux.tls ? "the proxy" : "the Mux";
    return IsMuxAnswering(options) ? ", though " + peer + " itself answers" + warning : warning + kPortHint;
}

}  // namespace Muxctl
