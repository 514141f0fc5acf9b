#include "tools/gateway-simulator/PlayedGateway.h"

#include "tools/gateway-simulator/TextReporter.h"

namespace Simulator {
namespace {

std::unique_ptr<WhitelistFile> OpenWhitelists(const std::string& path) {
    return path.empty() ? nullptr : std::make_unique<WhitelistFile>(path);
}

std::unique_ptr<Observer> MakeObserver(const PlayedGateway::Outputs& outputs, PlayedGateway::Detail detail) {
    if (detail == PlayedGateway::Detail::kAll) {
        return std::make_unique<TextReporter>(outputs.lines, outputs.keepAlives);
    }
    return std::make_unique<TroubleReporter>(outputs.lines);
}

SimulatorOptions Complete(SimulatorOptions options, Observer& observer, WhitelistFile* whitelists) {
    options.observer = &observer;
    options.whitelists = whitelists;
    return options;
}

}  // namespace

PlayedGateway::PlayedGateway(const GatewayDescription& description, const Outputs& outputs, Detail detail)
    : description_(description),
      whitelists_(OpenWhitelists(description.whitelistFile)),
      observer_(MakeObserver(outputs, detail)),
      gateway_(Complete(description.options, *observer_, whitelists_.get())) {}

Target PlayedGateway::AsTarget(LineOutput& output) {
    return {description_.id, description_.name, description_.options.host, gateway_, output};
}

GatewayView PlayedGateway::View() const {
    GatewayView view;
    view.id = description_.id;
    view.name = description_.name;
    view.status = gateway_.Status();
    view.address = AddressText(description_.options.host, view.status.port);
    view.lockNames = description_.lockNames;
    return view;
}

}  // namespace Simulator
