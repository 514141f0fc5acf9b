#pragma once

#include <memory>
#include <string>

#include "tools/gateway-simulator/GatewayDescription.h"
#include "tools/gateway-simulator/GatewaySimulator.h"
#include "tools/gateway-simulator/GatewayStatus.h"
#include "tools/gateway-simulator/LineOutput.h"
#include "tools/gateway-simulator/Target.h"
#include "tools/gateway-simulator/WhitelistFile.h"

namespace Simulator {

// One of the gateways that the program plays, with what belongs to it: its whitelist file, and the lines about it.
//
// For the program's thread.
class PlayedGateway {
  public:
    // What of it is told: everything, or only what a person has to know.
    enum class Detail { kAll, kTrouble };

    // Lines go to `output`, which must remain live as long as the gateway. Throws CommandError when the whitelist file
    // is no good.
    PlayedGateway(const GatewayDescription& description, LineOutput& output, Detail detail);

    // Throws std::system_error when the address or the port cannot be had.
    void Start() { gateway_.Start(); }

    const GatewayDescription& Description() const { return description_; }
    // "127.0.0.1:2101", with the port in use once it is started.
    std::string Address() const { return AddressText(description_.options.host, gateway_.Port()); }
    // As the target of commands that have their say in `output`.
    Target AsTarget(LineOutput& output);
    // As it is now, without its latest lines.
    GatewayView View() const;

  private:
    GatewayDescription description_;
    std::unique_ptr<WhitelistFile> whitelists_;
    std::unique_ptr<Observer> observer_;
    GatewaySimulator gateway_;
};

}  // namespace Simulator
