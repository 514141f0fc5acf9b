#pragma once

#include <plog/Log.h>

#include "diagnostics/LogCall.h"
#include "diagnostics/LogLine.h"
#include "diagnostics/LogOperation.h"

// Writes one line to the process log: MUX_LOG(plog::info) << "Gateway " << id << " connected.";
//
// The message begins with the full signature of the operation that the calling thread is in (see LogOperation), then a
// blank, then the text. The operands are evaluated only when the severity is logged. Any thread may log, also a
// destructor and a signal handler; a log line is never a cancellation point. A line for which there is no memory is
// left out, and nothing is thrown: only an operand that needs memory itself may.
//
// The text is complete before the LogCall begins, so a fault in an operand still gets the lines of a crash.
#define MUX_LOG(severity) \
    IF_PLOG(severity)     \
    Diagnostics::LogCall() += Diagnostics::LogLine(severity, PLOG_GET_FUNC(), __LINE__)

namespace Diagnostics {

// Whether a line of this severity would be written: for work that only a log line needs. Any thread.
inline bool IsLogged(plog::Severity severity) {
    return plog::get() != nullptr && plog::get()->checkSeverity(severity);
}

}  // namespace Diagnostics
