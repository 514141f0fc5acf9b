#include "tools/gateway-simulator/StepRunner.h"

#include <utility>

#include "tools/gateway-simulator/CommandError.h"

namespace Simulator {

StepRunner::StepRunner(asio::io_context& loop, GatewaySimulator& gateway, LineWriter& writer,
                       std::function<void()> quit)
    : gateway_(gateway), writer_(writer), quit_(std::move(quit)), timer_(loop) {}

void StepRunner::Add(const std::vector<Step>& steps) {
    steps_.insert(steps_.end(), steps.begin(), steps.end());
    RunNext();
}

void StepRunner::RunNext() {
    while (!waiting_ && !steps_.empty()) {
        const Step step = steps_.front();
        steps_.pop_front();
        switch (step.kind) {
            case Step::Kind::kCommand:
                Run(step);
                break;
            case Step::Kind::kWait:
                Wait(step.wait);
                break;
            case Step::Kind::kQuit:
                steps_.clear();
                quit_();
                break;
        }
    }
}

void StepRunner::Run(const Step& step) {
    try {
        const std::string output = step.action(gateway_);
        if (!output.empty()) {
            writer_.Write(output);
        }
    } catch (const CommandError& error) {
        writer_.WriteTimed(std::string("error: ") + error.what());
    }
}

void StepRunner::Wait(std::chrono::milliseconds duration) {
    waiting_ = true;
    timer_.expires_after(duration);
    timer_.async_wait([this](const asio::error_code& error) {
        if (!error) {
            waiting_ = false;
            RunNext();
        }
    });
}

}  // namespace Simulator
