#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/gateway-simulator/FrontEnd.h"
#include "tools/gateway-simulator/LabelledOutput.h"
#include "tools/gateway-simulator/LineReader.h"
#include "tools/gateway-simulator/LineWriter.h"

namespace Simulator {

// Plain lines on standard output and from standard input. With several gateways, lines about one have its ID in front.
class LineFrontEnd : public FrontEnd {
  public:
    explicit LineFrontEnd(const std::vector<GatewayDescription>& gateways);

    LineOutput& GatewayOutput(std::size_t index) override;
    LineOutput& CommandOutput(std::size_t index) override { return GatewayOutput(index); }
    LineOutput& Messages() override { return writer_; }
    // Prints "Listening on ADDRESS:PORT" for each gateway. The end of standard input changes nothing.
    void Open(asio::io_context& loop, const PlayedGateways& gateways, const Handlers& handlers) override;

  private:
    LineWriter writer_;
    // Empty for a single gateway.
    std::vector<std::unique_ptr<LabelledOutput>> labelled_;
    std::optional<LineReader> reader_;
};

}  // namespace Simulator
