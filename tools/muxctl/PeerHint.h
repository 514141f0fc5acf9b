#pragma once

#include <string>

#include "tools/muxctl/Options.h"

namespace Muxctl {

// Ends of error texts: what may be wrong with the peer. Any thread may call the functions.

// Of a peer that is not a Mux, or may not be one.
constexpr const char* kPortHint = "; is this the Mux's port?";

// Of a request that was not answered.
constexpr const char* kExecutionHint = "; the request may still have been executed";

// Of a peer that closed the connection instead of answering.
constexpr const char* kLostConnectionHint = "; the Mux may have ended, or this is not its port";

// "127.0.0.1:5555".
std::string PeerName(const Options& options);

// Of a peer that did not answer a request in time. Finds out whether it is the Mux, by a request that a Mux refuses
// without asking a gateway; waits for at most two seconds, and not longer than the time-out of the options.
std::string SilenceHint(const Options& options);

}  // namespace Muxctl
