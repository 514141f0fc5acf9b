#pragma once

#include "diagnostics/LogLine.h"

namespace Diagnostics {

// Hands one finished line to logger 0.
//
// Thread cancellation is held off meanwhile: the appenders write to files, which are cancellation points, and a
// destructor that logs must not be unwound. A signal that would log on a thread which is inside the logger, and so
// holds its lock, can be put off until the line is written.
//
// Lives for one log line, on the thread that logs.
class LogCall {
  public:
    LogCall();
    ~LogCall();
    LogCall(const LogCall&) = delete;
    LogCall& operator=(const LogCall&) = delete;

    // Writes the line to every appender of logger 0, which must exist. One for which there is no memory is left out.
    void operator+=(const LogLine& line) const;

    // Whether the calling thread is inside the logger. Async-signal-safe.
    static bool IsInProgressOnThisThread();

    // If the calling thread is inside the logger, remembers the signal, which is raised again on this thread when
    // the line is written, and returns true. Of several signals in one line the first is raised and the others are
    // dropped, so it is not for faults. Async-signal-safe.
    static bool Defer(int signalNumber);

  private:
    int previousCancelState_ = 0;
};

}  // namespace Diagnostics
