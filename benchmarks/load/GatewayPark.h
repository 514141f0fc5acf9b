#pragma once

#include <asio.hpp>
#include <cstddef>
#include <iosfwd>
#include <memory>
#include <vector>

#include "benchmarks/load/AnsweringGateway.h"

namespace Load {

// Several gateways on one loop, numbered from 0. The loop must not run any more when they are destroyed.
class GatewayPark {
  public:
    GatewayPark(asio::io_context& loop, std::size_t count);

    std::size_t Count() const { return gateways_.size(); }
    AnsweringGateway& At(std::size_t index) { return *gateways_.at(index); }

    // Writes the line "Gateways listen on PORT,PORT,..." for the program that starts a server on these ports.
    void Announce(std::ostream& output) const;

    // Runs the loop until the server uses every gateway. Throws std::runtime_error when it does not in time.
    void AwaitUse();

  private:
    asio::io_context& loop_;
    std::vector<std::unique_ptr<AnsweringGateway>> gateways_;
};

}  // namespace Load
