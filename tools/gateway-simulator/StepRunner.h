#pragma once

#include <asio.hpp>
#include <deque>
#include <functional>
#include <vector>

#include "tools/gateway-simulator/GatewaySimulator.h"
#include "tools/gateway-simulator/LineWriter.h"
#include "tools/gateway-simulator/Step.h"

namespace Simulator {

// Runs steps one after the other, waiting where they say so. What they have to say, and what is wrong with them,
// is written; a step that fails does not stop those behind it.
//
// Lives on the thread of `loop`, which is not the gateway's. Gateway and writer must remain live as long as it.
class StepRunner {
  public:
    // Calls `quit` for the step of that name; steps behind it are not run.
    StepRunner(asio::io_context& loop, GatewaySimulator& gateway, LineWriter& writer, std::function<void()> quit);

    // Appends steps; they run at once unless earlier ones still wait.
    void Add(const std::vector<Step>& steps);

  private:
    void RunNext();
    void Run(const Step& step);
    void Wait(std::chrono::milliseconds duration);

    GatewaySimulator& gateway_;
    LineWriter& writer_;
    std::function<void()> quit_;
    asio::steady_timer timer_;
    std::deque<Step> steps_;
    bool waiting_ = false;
};

}  // namespace Simulator
