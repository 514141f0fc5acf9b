#pragma once

#include <plog/Record.h>

namespace Diagnostics {

// Hands one finished record to logger 0 with thread cancellation held off: the appenders write to files, which
// are cancellation points, and a destructor that logs must not be unwound.
//
// Lives for one log line, on the thread that logs.
class LogCall {
  public:
    LogCall();
    ~LogCall();
    LogCall(const LogCall&) = delete;
    LogCall& operator=(const LogCall&) = delete;

    // Writes the record to every appender of logger 0, which must exist.
    void operator+=(const plog::Record& record) const;

  private:
    int previousCancelState_ = 0;
};

}  // namespace Diagnostics
