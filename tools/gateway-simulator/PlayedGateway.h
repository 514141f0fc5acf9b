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
    // What is reported: everything, or only trouble.
    enum class Detail { kAll, kTrouble };

    // Where lines go, those of keep-alive frames apart. Must outlive the gateway.
    struct Outputs {
        LineOutput& lines;
        LineOutput& keepAlives;
    };

    // Throws CommandError on an invalid whitelist file.
    PlayedGateway(const GatewayDescription& description, const Outputs& outputs, Detail detail);

    // Throws std::system_error if the address or port cannot be opened.
    void Start() { gateway_.Start(); }

    const GatewayDescription& Description() const { return description_; }
    // "127.0.0.1:2101", with the port in use once it is started.
    std::string Address() const { return AddressText(description_.options.host, gateway_.Port()); }
    // As the target of commands whose output goes to `output`.
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
