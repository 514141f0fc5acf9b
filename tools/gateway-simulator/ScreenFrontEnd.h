#pragma once

#include <asio.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/gateway-simulator/FrontEnd.h"
#include "tools/gateway-simulator/LabelledOutput.h"
#include "tools/gateway-simulator/LineEditor.h"
#include "tools/gateway-simulator/RecentLines.h"
#include "tools/gateway-simulator/Terminal.h"

namespace Simulator {

// The status screen on a terminal, redrawn ten times a second and after each key.
class ScreenFrontEnd : public FrontEnd {
  public:
    explicit ScreenFrontEnd(const std::vector<GatewayDescription>& gateways);

    LineOutput& GatewayOutput(std::size_t index) override { return *recent_.at(index); }
    LineOutput& KeepAliveOutput(std::size_t index) override { return recent_.at(index)->KeepAlives(); }
    LineOutput& CommandOutput(std::size_t index) override { return *commandOutputs_.at(index); }
    LineOutput& Messages() override { return messages_; }
    void ShowKeepAlives(bool shown) override { showsKeepAlives_ = shown; }
    bool ConfirmsCommands() const override { return true; }
    // Takes the terminal, which is given back with the end of the front end.
    void Open(asio::io_context& loop, const PlayedGateways& gateways, const Handlers& handlers) override;

  private:
    void AwaitKeys();
    void OnKeys();
    void AwaitTick();
    void OnKey(const KeyPress& press);
    void OnLine(const std::string& line);
    std::vector<RecentLine> RecentLinesOf(std::size_t index) const;
    ScreenState State() const;
    std::string Prompt() const;
    void Draw();

    std::vector<std::unique_ptr<RecentLines>> recent_;
    RecentLines messages_;
    std::vector<std::unique_ptr<LabelledOutput>> commandOutputs_;
    const PlayedGateways* gateways_ = nullptr;
    Handlers handlers_;
    LineEditor editor_;
    bool showsKeepAlives_ = true;
    // As in ScreenState.
    std::optional<std::size_t> firstRow_;
    std::unique_ptr<Terminal> terminal_;
    std::optional<asio::posix::stream_descriptor> input_;
    std::optional<asio::steady_timer> tick_;
};

}  // namespace Simulator
