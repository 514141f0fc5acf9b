#include "tools/gateway-simulator/StepRunner.h"

#include <algorithm>
#include <utility>

#include "tools/gateway-simulator/CommandError.h"

namespace Simulator {
namespace {

constexpr const char* kDone = "done";

void Report(LineOutput& output, const CommandError& error) {
    output.WriteTimed(std::string("error: ") + error.what());
}

}  // namespace

StepRunner::StepRunner(asio::io_context& loop, std::vector<Target> targets, LineOutput& output, Handlers handlers)
    : targets_(std::move(targets)), output_(output), handlers_(std::move(handlers)), timer_(loop) {}

void StepRunner::Add(const std::vector<Step>& steps) {
    steps_.insert(steps_.end(), steps.begin(), steps.end());
    RunNext();
}

void StepRunner::RunNext() {
    while (!waiting_ && !steps_.empty()) {
        const Step step = steps_.front();
        steps_.pop_front();
        Run(step);
    }
}

void StepRunner::Run(const Step& step) {
    try {
        (this->*HandlerOf(step.kind))(step);
    } catch (const CommandError& error) {
        Report(output_, error);
    }
}

StepRunner::Handler StepRunner::HandlerOf(Step::Kind kind) {
    switch (kind) {
        case Step::Kind::kWait:
            return &StepRunner::Wait;
        case Step::Kind::kQuit:
            return &StepRunner::Quit;
        case Step::Kind::kUse:
            return &StepRunner::Use;
        case Step::Kind::kList:
            return &StepRunner::List;
        case Step::Kind::kKeepAlives:
            return &StepRunner::ShowKeepAlives;
        case Step::Kind::kHelp:
            return &StepRunner::Help;
        case Step::Kind::kCommand:
            break;
    }
    return &StepRunner::RunCommand;
}

void StepRunner::RunCommand(const Step& step) {
    const Target& target = targets_.at(step.gateway ? IndexOf(*step.gateway) : chosen_);
    try {
        const std::string output = step.action(target.gateway);
        if (output.empty()) {
            Confirm(target.output, kDone);
        } else {
            target.output.Write(output);
        }
    } catch (const CommandError& error) {
        Report(target.output, error);
    }
}

void StepRunner::Wait(const Step& step) {
    waiting_ = true;
    timer_.expires_after(step.wait);
    timer_.async_wait([this](const asio::error_code& error) {
        if (!error) {
            waiting_ = false;
            Confirm(output_, kDone);
            RunNext();
        }
    });
}

void StepRunner::Quit(const Step& /*step*/) {
    steps_.clear();
    handlers_.quit();
}

void StepRunner::Use(const Step& step) {
    chosen_ = IndexOf(step.gateway.value());
    Confirm(output_, "commands go to gateway " + std::to_string(Chosen()));
}

void StepRunner::List(const Step& /*step*/) {
    for (const Target& target : targets_) {
        output_.Write(DescribeTarget(target));
    }
}

void StepRunner::ShowKeepAlives(const Step& step) {
    handlers_.showKeepAlives(step.isOn);
    Confirm(output_, kDone);
}

void StepRunner::Help(const Step& /*step*/) {
    output_.Write(StepHelp());
}

void StepRunner::Confirm(LineOutput& output, const std::string& text) const {
    if (handlers_.confirms) {
        output.Write(text);
    }
}

std::size_t StepRunner::IndexOf(std::int32_t gateway) const {
    const auto found =
        std::find_if(targets_.begin(), targets_.end(), [&](const Target& target) { return target.id == gateway; });
    if (found == targets_.end()) {
        throw CommandError("unknown gateway " + std::to_string(gateway));
    }
    return static_cast<std::size_t>(found - targets_.begin());
}

}  // namespace Simulator
