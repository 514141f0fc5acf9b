#pragma once

namespace Benchmark {

// Sets the process log so that no line is written; every log call still asks whether one is.
void FilterLogOut();

// While an object of this class lives, lines of info severity and above go to a rolling log file as the Mux writes it,
// in a folder of its own, and with kFileAndConsole also to a console whose output nobody sees. One at a time.
class LogOutput {
  public:
    enum class To { kFile, kFileAndConsole };

    explicit LogOutput(To to);
    ~LogOutput();
    LogOutput(const LogOutput&) = delete;
    LogOutput& operator=(const LogOutput&) = delete;
};

}  // namespace Benchmark
