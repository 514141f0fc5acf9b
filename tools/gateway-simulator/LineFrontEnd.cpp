#include "tools/gateway-simulator/LineFrontEnd.h"

#include <unistd.h>

#include <iostream>

namespace Simulator {

LineFrontEnd::LineFrontEnd(const std::vector<GatewayDescription>& gateways) : writer_(std::cout) {
    if (gateways.size() > 1) {
        for (const GatewayDescription& gateway : gateways) {
            labelled_.push_back(std::make_unique<LabelledOutput>(writer_, std::to_string(gateway.id) + ": "));
        }
    }
    for (std::size_t index = 0; index < gateways.size(); ++index) {
        keepAlives_.push_back(std::make_unique<SwitchedOutput>(OutputOf(index), showsKeepAlives_));
    }
}

LineOutput& LineFrontEnd::OutputOf(std::size_t index) {
    if (labelled_.empty()) {
        return writer_;
    }
    return *labelled_.at(index);
}

void LineFrontEnd::Open(asio::io_context& loop, const PlayedGateways& gateways, const Handlers& handlers) {
    for (std::size_t index = 0; index < gateways.size(); ++index) {
        OutputOf(index).Write("Listening on " + gateways.at(index)->Address());
    }
    reader_.emplace(STDIN_FILENO, [&loop, line = handlers.line](const std::string& text) {
        asio::post(loop, [line, text] { line(text); });
    });
}

}  // namespace Simulator
