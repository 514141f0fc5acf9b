#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/gateway-simulator/FrontEnd.h"
#include "tools/gateway-simulator/LabelledOutput.h"
#include "tools/gateway-simulator/LineReader.h"
#include "tools/gateway-simulator/LineWriter.h"

namespace Simulator {

// Passes lines on while they are wanted.
//
// As thread-safe as the output it passes them to, which must outlive it, as must the switch.
class SwitchedOutput : public LineOutput {
  public:
    SwitchedOutput(LineOutput& target, const std::atomic<bool>& isOn) : target_(target), isOn_(isOn) {}

    void Write(const std::string& text) override {
        if (isOn_) {
            target_.Write(text);
        }
    }

  private:
    LineOutput& target_;
    const std::atomic<bool>& isOn_;
};

// Plain lines on standard output and from standard input. With several gateways, lines about one have its ID in front.
class LineFrontEnd : public FrontEnd {
  public:
    explicit LineFrontEnd(const std::vector<GatewayDescription>& gateways);

    LineOutput& GatewayOutput(std::size_t index) override { return OutputOf(index); }
    LineOutput& KeepAliveOutput(std::size_t index) override { return *keepAlives_.at(index); }
    LineOutput& CommandOutput(std::size_t index) override { return OutputOf(index); }
    LineOutput& Messages() override { return writer_; }
    void ShowKeepAlives(bool shown) override { showsKeepAlives_ = shown; }
    bool ConfirmsCommands() const override { return false; }
    // Prints "Listening on ADDRESS:PORT" for each gateway. The end of standard input changes nothing.
    void Open(asio::io_context& loop, const PlayedGateways& gateways, const Handlers& handlers) override;

  private:
    LineOutput& OutputOf(std::size_t index);

    LineWriter writer_;
    // Empty for a single gateway.
    std::vector<std::unique_ptr<LabelledOutput>> labelled_;
    std::atomic<bool> showsKeepAlives_{true};
    std::vector<std::unique_ptr<SwitchedOutput>> keepAlives_;
    std::optional<LineReader> reader_;
};

}  // namespace Simulator
