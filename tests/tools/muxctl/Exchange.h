#pragma once

#include <string>

#include "tests/tools/muxctl/FakeMux.h"
#include "tests/tools/muxctl/RunningProgram.h"

namespace Muxctl {

// The program, connected to a Mux that the test plays.
class ConnectedProgram : public RunningProgram {
  public:
    // Adds the Mux's port to the arguments, and waits for the connection.
    ConnectedProgram(FakeMux& mux, const Words& arguments, const ProcessSetup& setup = {})
        : RunningProgram(MuxctlCommand(arguments + ToPort(mux.Port())), setup) {
        mux.Accept();
    }
};

// What the program sent, and how it ended after the answer.
struct Exchange {
    std::string request;
    Ending ending;
};

// Runs the program against a Mux that answers its first request.
inline Exchange Exchanged(const Words& arguments, int code = 0, const char* data = kAckData,
                          const ProcessSetup& setup = {}) {
    FakeMux mux;
    ConnectedProgram program(mux, arguments + kMuchTime, setup);
    const std::string request = mux.AnswerNext(code, data);
    const int status = program.WaitForExit();
    return {request, {status, program.Output(), program.ErrorOutput()}};
}

}  // namespace Muxctl
