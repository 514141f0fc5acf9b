#pragma once

// What the process settles about itself. Called by main, before any other thread exists.
namespace Mux {

// Keeps the memory of the process small, whatever the number of its threads: a lock gateway costs two. Settles what
// threads are made with.
void KeepFootprintSmall();

// Opens the standard streams that are closed. A supervisor may start the process without them; the first sockets would
// then get their numbers, and a gateway what is written to the console.
void OccupyStandardStreams();

// Allows the process as many descriptors as this host grants at all: the usual soft limit is meant for programs that
// use select.
void AllowAllDescriptors();

// Installs Diagnostics::SignalHandler for SIGQUIT, SIGHUP, SIGKILL, SIGABRT, SIGSEGV and SIGBUS, in this order. The
// handler of each blocks its own signal and those registered before it. SIGKILL cannot be caught; that its
// registration fails is ignored. SIGINT and SIGTERM keep their default action. May be repeated.
void RegisterSignalHandlers();

}  // namespace Mux
