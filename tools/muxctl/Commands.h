#pragma once

#include "tools/muxctl/Console.h"
#include "tools/muxctl/Options.h"
#include "tools/muxctl/RequestKinds.h"

namespace Muxctl {

// The commands of the program. Each does its work, prints what came of it and returns the exit status. All but watch
// throw MuxClient::ConnectionError and MuxClient::ProtocolError when there is no Mux to talk to; those that read a file
// throw UsageError when it cannot be read or does not hold what it should.

// Sends one request of this kind and prints the answer.
int RunRequest(const RequestKind& kind, const Options& options, const Console& console);

// Sends a text as it is and prints the answer, or does not wait for one.
int RunSend(const Options& options, const Console& console);

// Sends a configuration, which is never answered.
int RunConfigure(const Options& options, const Console& console);

// Sends a request that the Mux refuses by itself, without any gateway: whatever answer comes, the Mux is at work.
int RunHealth(const Options& options, const Console& console);

// Prints events until it has as many as it is to have. Connects again, and again, when there is no Mux.
int RunWatch(const Options& options, const Console& console);

// Looks at a configuration file and prints what is wrong with it. Talks to nobody and changes nothing.
int RunCheckConfig(const Options& options, const Console& console);

}  // namespace Muxctl
