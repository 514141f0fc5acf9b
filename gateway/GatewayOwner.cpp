#include "gateway/GatewayOwner.h"

#include <utility>

namespace Brenk {

OwnerLink::OwnerLink(VirtualGateway* gateway) : gateway_(gateway), owner_(std::make_shared<const GatewayOwner>()) {}

void OwnerLink::Set(GatewayOwner owner) {
    auto replacement = std::make_shared<const GatewayOwner>(std::move(owner));
    owner_.With([&](std::shared_ptr<const GatewayOwner>& current) { current.swap(replacement); });
}

void OwnerLink::ClearCallbacks() {
    GatewayOwner owner = *Current();
    owner.stateChanged = nullptr;
    owner.responseReceived = nullptr;
    owner.eventReceived = nullptr;
    Set(std::move(owner));
}

std::shared_ptr<const GatewayOwner> OwnerLink::Current() const {
    return owner_.With([](const std::shared_ptr<const GatewayOwner>& current) { return current; });
}

void OwnerLink::TellStatus(VirtualGatewayStatuses oldStatus, VirtualGatewayStatuses newStatus) const {
    const auto owner = Current();
    if (owner->stateChanged != nullptr) {
        owner->stateChanged(gateway_, oldStatus, newStatus, owner->context);
    }
}

void OwnerLink::TellResponse(std::unique_ptr<Messages::VG::VirtualGatewayResponseMessage> response,
                             void* context) const {
    const auto owner = Current();
    if (owner->responseReceived != nullptr) {
        owner->responseReceived(gateway_, response.release(), context);
    }
}

void OwnerLink::TellEvent(std::unique_ptr<Messages::VG::VirtualGatewayEventMessage> event) const {
    const auto owner = Current();
    if (owner->eventReceived != nullptr) {
        owner->eventReceived(gateway_, event.release(), owner->context);
    }
}

}  // namespace Brenk
