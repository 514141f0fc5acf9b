#pragma once

#include "tools/muxctl/Console.h"
#include "tools/muxctl/Options.h"
#include "tools/muxctl/RequestKinds.h"

namespace Muxctl {

// The commands of the program. Each does its work, prints what came of it and returns the exit status. For one thread;
// all throw std::system_error when they cannot write what came of it.

// These throw MuxClient::ConnectionError without a connection to the Mux, and MuxClient::ProtocolError if the peer is
// not a Mux.

// Sends a request of this kind to each lock of the options, one after the other, and prints the answers. Returns the
// worst exit status of them.
int RunRequest(const RequestKind& kind, const Options& options, const Console& console);

// Sends a text as it is and prints the answer, or does not wait for one. Unless told otherwise, sends nothing that
// would end the Mux or never be answered, and prints why. Throws UsageError when the file with the text cannot be read,
// or the text fits no packet.
int RunSend(const Options& options, const Console& console);

// Without a gateway, sends a request that the Mux refuses by itself: whatever answer comes, the Mux is at work. With
// one, or all of the site, asks these, and reports a missing connection as a result too. Throws UsageError when there
// is no site.
int RunHealth(const Options& options, const Console& console);

// Sends the requests of a file, each when the last one is answered. Reports what is wrong with the file before it
// connects.
int RunBatch(const Options& options, const Console& console);

// Loads the cards of a file into whitelists and prints what came of it; a lost connection is a part of that. Throws
// UsageError when the file cannot be read or an unfinished load cannot be continued.
int RunWhitelistLoad(const Options& options, const Console& console);

// Prints what is wrong with such a file. Connects to nothing.
int RunWhitelistCheck(const Options& options, const Console& console);

// Prints events until it has the required number. Reconnects without limit, so of these two it throws only
// MuxClient::ProtocolError, and MuxClient::CertificateError.
int RunWatch(const Options& options, const Console& console);

// Lists the gateways and locks of the site. Throws UsageError without one. Connects to nothing.
int RunLocks(const Options& options, const Console& console);

// Prints a signed command for one lock, to be published over MQTT. Throws UsageError for options that the operation
// does not take, and for a key that cannot be used. Connects to nothing.
int RunSign(const Options& options, const Console& console);

// Writes a new private key into a file that must not exist, and prints the public one. Throws UsageError if the file
// cannot be written.
int RunNewKey(const Options& options, const Console& console);

// Checks configuration files and prints the findings, including that one cannot be read. Connects to nothing and
// changes nothing. Throws UsageError if a folder has no site.
int RunCheckConfig(const Options& options, const Console& console);

}  // namespace Muxctl
