#pragma once

#include <string>
#include <vector>

#include "tests/tools/muxctl/FakeMux.h"
#include "tests/tools/muxctl/RunningProgram.h"

namespace Muxctl {

inline std::vector<std::string> operator+(std::vector<std::string> left, const std::vector<std::string>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// What the program sent, and how it ended after the answer.
struct Exchange {
    std::string request;
    Ending ending;
};

// Runs the program against a Mux that answers its first request. The answer has much time, however busy the machine is.
inline Exchange Exchanged(const std::vector<std::string>& arguments, int code = 0,
                          const char* data = R"({"Success":true,"ErrorCode":0})", const ProcessSetup& setup = {}) {
    FakeMux mux;
    const std::vector<std::string> much = {"--timeout", "60"};
    RunningProgram program(MuxctlCommand(arguments + much + mux.PortArguments()), setup);
    mux.Accept();
    Exchange exchange;
    exchange.request = mux.ReceiveText();
    mux.Answer(exchange.request, code, data);
    const int status = program.WaitForExit();
    exchange.ending = {status, program.Output(), program.ErrorOutput()};
    return exchange;
}

}  // namespace Muxctl
