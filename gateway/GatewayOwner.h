#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "gateway/VirtualGatewayEventMessage.h"
#include "gateway/VirtualGatewayResponseMessage.h"
#include "gateway/VirtualGatewayStatuses.h"
#include "threading/Synchronized.h"

namespace Brenk {

class VirtualGateway;

// What the owner tells a gateway about itself and where it wants to be called. Callbacks may be null.
struct GatewayOwner {
    using StateChangedCallback = void (*)(VirtualGateway* gateway, VirtualGatewayStatuses oldStatus,
                                          VirtualGatewayStatuses newStatus, void* context);
    // The receiver owns the message; null when the answer could not be understood.
    using ResponseReceivedCallback = void (*)(VirtualGateway* gateway,
                                              Messages::VG::VirtualGatewayResponseMessage* response, void* context);
    // The receiver owns the message.
    using EventReceivedCallback = void (*)(VirtualGateway* gateway, Messages::VG::VirtualGatewayEventMessage* event,
                                           void* context);

    std::int32_t id = 0;
    std::string description;
    void* context = nullptr;
    StateChangedCallback stateChanged = nullptr;
    ResponseReceivedCallback responseReceived = nullptr;
    EventReceivedCallback eventReceived = nullptr;
};

// A gateway's way to its owner, who may be replaced while threads call it: what is used together, identity, context and
// callbacks, is always of one owner.
//
// Any thread. Callbacks run on the thread that tells, and without a lock of this object.
class OwnerLink {
  public:
    // With an owner that has no callback, context or name. `gateway` is what callbacks are given.
    explicit OwnerLink(VirtualGateway* gateway);

    void Set(GatewayOwner owner);

    // From here on no callback is begun. Identity and context stay: a thread that is still at work uses both.
    void ClearCallbacks();

    std::shared_ptr<const GatewayOwner> Current() const;

    // Each calls one callback of the owner, if it has it.
    void TellStatus(VirtualGatewayStatuses oldStatus, VirtualGatewayStatuses newStatus) const;
    void TellResponse(std::unique_ptr<Messages::VG::VirtualGatewayResponseMessage> response, void* context) const;
    void TellEvent(std::unique_ptr<Messages::VG::VirtualGatewayEventMessage> event) const;

  private:
    VirtualGateway* const gateway_;
    Threading::Synchronized<std::shared_ptr<const GatewayOwner>> owner_;
};

}  // namespace Brenk
