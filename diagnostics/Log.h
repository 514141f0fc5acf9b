#pragma once

#include <plog/Log.h>

#include <cstddef>
#include <memory>

#include "diagnostics/LogCall.h"
#include "diagnostics/LogOperation.h"

// Writes one line to the process log: MUX_LOG(plog::info) << "Gateway " << id << " connected.";
//
// The message begins with the full signature of the operation that the calling thread is in (see LogOperation), then a
// blank, then the text. The operands are evaluated only when the severity is logged. Any thread may log, also a
// destructor and a signal handler; a log line is never a cancellation point.
//
// The text is complete before the LogCall begins, so a fault in an operand still gets the lines of a crash.
#define MUX_LOG(severity) \
    IF_PLOG(severity)     \
    Diagnostics::LogCall() += *Diagnostics::NewRecord(severity, PLOG_GET_FUNC(), __LINE__)

namespace Diagnostics {

// A record to write a line with. It lives on the heap because it is half a kilobyte: on the stack it would stand in the
// frame of every function that can log, and a gateway's two threads would need a page more each for lines that are
// never written.
//
// It is that of the thread's operation, whose signature its text begins with; of `function` when there is none.
std::unique_ptr<plog::Record> NewRecord(plog::Severity severity, const char* function, std::size_t line);

// Whether a line of this severity would be written: for work that only a log line needs. Any thread.
inline bool IsLogged(plog::Severity severity) {
    return plog::get() != nullptr && plog::get()->checkSeverity(severity);
}

}  // namespace Diagnostics
