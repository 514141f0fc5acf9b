#include "tools/gateway-simulator/Step.h"

#include <array>
#include <charconv>
#include <vector>

#include "tools/gateway-simulator/Arguments.h"
#include "tools/gateway-simulator/ConsoleCommand.h"

namespace Simulator {
namespace {

constexpr std::string_view kBlanks = " \t";

// A word about the flow of commands, and what follows it.
struct FlowWord {
    const char* word;
    Step::Kind kind;
    void (*parse)(Arguments& arguments, Step& step);
};

std::optional<std::int32_t> GatewayNumber(std::string_view text) {
    std::int32_t number = 0;
    const char* end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, number);
    return result.ec == std::errc() && result.ptr == end ? std::make_optional(number) : std::nullopt;
}

void ParseWait(Arguments& arguments, Step& step) {
    step.wait = std::chrono::milliseconds(arguments.Number("MILLISECONDS", kLongestDuration));
}

void ParseUse(Arguments& arguments, Step& step) {
    const std::string word = arguments.Word("GATEWAY");
    step.gateway = GatewayNumber(word);
    if (!step.gateway) {
        throw CommandError("GATEWAY must be a gateway's ID, not \"" + word + "\"");
    }
}

void ParseKeepAlives(Arguments& arguments, Step& step) {
    step.isOn = arguments.OnOrOff("on|off");
}

constexpr std::array<FlowWord, 6> kFlowWords = {{
    {"wait", Step::Kind::kWait, ParseWait},
    {"quit", Step::Kind::kQuit, [](Arguments&, Step&) {}},
    {"use", Step::Kind::kUse, ParseUse},
    {"gateways", Step::Kind::kList, [](Arguments&, Step&) {}},
    {"keep-alives", Step::Kind::kKeepAlives, ParseKeepAlives},
    // The console's own says nothing of the words in this table.
    {"help", Step::Kind::kHelp, [](Arguments&, Step&) {}},
}};

// Nothing when the line is not about the flow.
std::optional<Step> ParseFlow(std::string_view line) {
    Arguments arguments(line);
    for (const FlowWord& word : kFlowWords) {
        if (arguments.TakeIf(word.word)) {
            Step step;
            step.kind = word.kind;
            word.parse(arguments, step);
            arguments.End();
            return step;
        }
    }
    return std::nullopt;
}

std::vector<std::string_view> FlowWords() {
    std::vector<std::string_view> words;
    words.reserve(kFlowWords.size());
    for (const FlowWord& word : kFlowWords) {
        words.emplace_back(word.word);
    }
    return words;
}

// Takes "GATEWAY:" from the front of a line, if it is there.
std::optional<std::int32_t> TakeGateway(std::string_view& line) {
    const std::size_t start = line.find_first_not_of(kBlanks);
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || start > colon) {
        return std::nullopt;
    }
    const std::optional<std::int32_t> gateway = GatewayNumber(line.substr(start, colon - start));
    line.remove_prefix(gateway ? colon + 1 : 0);
    return gateway;
}

Step ParseCommandFor(std::int32_t gateway, std::string_view line) {
    if (Arguments(line).IsEmpty()) {
        throw CommandError("COMMAND is missing");
    }
    if (ParseFlow(line)) {
        throw CommandError("\"" + Arguments(line).Word("COMMAND") + "\" cannot be sent to one gateway");
    }
    Step step;
    step.action = ParseCommand(line);
    step.gateway = gateway;
    return step;
}

}  // namespace

Step ParseStep(std::string_view line) {
    if (const std::optional<std::int32_t> gateway = TakeGateway(line)) {
        return ParseCommandFor(*gateway, line);
    }
    if (std::optional<Step> flow = ParseFlow(line)) {
        return *flow;
    }
    Step step;
    step.action = ParseCommand(line, FlowWords());
    return step;
}

std::string StepHelp() {
    return "  wait MILLISECONDS              Wait before the next command\n"
           "  quit                           Exit\n"
           "  gateways                       List the gateways\n"
           "  keep-alives on|off             Show or hide the Mux's keep-alive frames\n"
           "  use GATEWAY                    Send the following commands to this gateway\n"
           "  GATEWAY: COMMAND               Send this command to this gateway\n" +
           CommandHelp();
}

}  // namespace Simulator
