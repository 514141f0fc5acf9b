#pragma once

#include <asio.hpp>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "tools/gateway-simulator/LineOutput.h"
#include "tools/gateway-simulator/Step.h"
#include "tools/gateway-simulator/Target.h"

namespace Simulator {

// Runs steps one after the other, waiting where they require it. Their output and errors are written; a failed step
// does not stop the following ones.
//
// Lives on the thread of `loop`, which is not a gateway's. Gateways and outputs must outlive it.
class StepRunner {
  public:
    // What steps ask of the program.
    struct Handlers {
        // Later steps are not run.
        std::function<void()> quit;
        std::function<void(bool shown)> showKeepAlives;
        // Whether a step without output writes that it was done.
        bool confirms = false;
    };

    // Takes one gateway or more; steps go to the first until they select another. Errors, and output of no gateway, go
    // to `output`.
    StepRunner(asio::io_context& loop, std::vector<Target> targets, LineOutput& output, Handlers handlers);

    // Appends steps; they run at once unless earlier ones still wait.
    void Add(const std::vector<Step>& steps);

    // The ID of the gateway that steps are for which name none.
    std::int32_t Chosen() const { return targets_.at(chosen_).id; }

  private:
    using Handler = void (StepRunner::*)(const Step& step);

    static Handler HandlerOf(Step::Kind kind);

    void RunNext();
    void Run(const Step& step);
    void RunCommand(const Step& step);
    void Wait(const Step& step);
    void Quit(const Step& step);
    void Use(const Step& step);
    void List(const Step& step);
    void ShowKeepAlives(const Step& step);
    void Help(const Step& step);
    void Confirm(LineOutput& output, const std::string& text) const;
    std::size_t IndexOf(std::int32_t gateway) const;

    std::vector<Target> targets_;
    std::size_t chosen_ = 0;
    LineOutput& output_;
    Handlers handlers_;
    asio::steady_timer timer_;
    std::deque<Step> steps_;
    bool waiting_ = false;
};

}  // namespace Simulator
