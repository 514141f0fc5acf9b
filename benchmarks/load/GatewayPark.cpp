#include "benchmarks/load/GatewayPark.h"

#include <algorithm>
#include <ostream>

#include "benchmarks/load/Waiting.h"

namespace Load {

GatewayPark::GatewayPark(asio::io_context& loop, std::size_t count) : loop_(loop) {
    for (std::size_t index = 0; index < count; ++index) {
        gateways_.push_back(std::make_unique<AnsweringGateway>(loop));
    }
}

void GatewayPark::Announce(std::ostream& output) const {
    const char* separator = "Gateways listen on ";
    for (const auto& gateway : gateways_) {
        output << separator << gateway->Port();
        separator = ",";
    }
    output << std::endl;
}

void GatewayPark::AwaitUse() {
    const auto isInUse = [](const auto& gateway) { return gateway->IsInUse(); };
    RunUntil(
        loop_, [&] { return std::all_of(gateways_.begin(), gateways_.end(), isInUse); },
        "the server using every gateway");
}

}  // namespace Load
