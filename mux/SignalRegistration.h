#pragma once

namespace Mux {

// Installs Diagnostics::SignalHandler for SIGQUIT, SIGHUP, SIGKILL, SIGABRT, SIGSEGV and SIGBUS, in this order. The
// handler of each blocks its own signal and those registered before it. SIGKILL cannot be caught; that its
// registration fails is ignored. SIGINT and SIGTERM keep their default action. May be repeated; start-up only.
void RegisterSignalHandlers();

}  // namespace Mux
