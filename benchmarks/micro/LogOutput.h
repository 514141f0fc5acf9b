#pragma once

#include <plog/Severity.h>

namespace Benchmark {

// Sets the process log so that no line is written; every log call still asks whether one is.
void FilterLogOut();

// While an object of this class exists, lines of this severity and above are written as by the Mux: to a rolling log
// file in a temporary folder and to a console with discarded output. One at a time.
class LogOutput {
  public:
    explicit LogOutput(plog::Severity maximumSeverity);
    ~LogOutput();
    LogOutput(const LogOutput&) = delete;
    LogOutput& operator=(const LogOutput&) = delete;

  private:
    const int standardOutput_;
};

}  // namespace Benchmark
