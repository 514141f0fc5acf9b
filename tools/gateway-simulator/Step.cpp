#include "tools/gateway-simulator/Step.h"

#include "tools/gateway-simulator/Arguments.h"
#include "tools/gateway-simulator/ConsoleCommand.h"

namespace Simulator {
namespace {

Step ParseWait(Arguments& arguments) {
    Step step;
    step.kind = Step::Kind::kWait;
    step.wait = std::chrono::milliseconds(arguments.Number("MILLISECONDS", kLongestDuration));
    return step;
}

Step ParseQuit() {
    Step step;
    step.kind = Step::Kind::kQuit;
    return step;
}

}  // namespace

Step ParseStep(std::string_view line) {
    Arguments arguments(line);
    const bool isWait = arguments.TakeIf("wait");
    if (!isWait && !arguments.TakeIf("quit")) {
        Step step;
        step.action = ParseCommand(line);
        return step;
    }
    Step step = isWait ? ParseWait(arguments) : ParseQuit();
    arguments.End();
    return step;
}

std::string StepHelp() {
    return "  wait MILLISECONDS              before the next command, in a script or on standard input\n"
           "  quit                           end the simulator\n" +
           CommandHelp();
}

}  // namespace Simulator
