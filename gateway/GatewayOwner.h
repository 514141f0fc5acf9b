#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "messages/AnswerPayloads.h"
#include "threading/Synchronized.h"

namespace Brenk {

// The state of the connection to one gateway.
enum VirtualGatewayStatuses : std::int32_t {
    UNKNOWN = 0,       // never set by a gateway itself
    CREATED = 1,       // no connection attempted yet
    CONNECTED = 2,     // connected, the gateway's sequence counter is being fetched
    READY = 3,         // connected, every queued request is sent
    DISCONNECTED = 4,  // socket closed and deleted
    FAULTED = 5,       // the socket reported an error
    NOT_PRESENT = 6,   // 20 attempts to connect have failed: given up for good
};

namespace Messages::VG {

// A gateway's answer to one request.
struct VirtualGatewayResponseMessage {
    std::string requestID;                                 // of the request that is answered
    std::uint8_t requestCode = 0;                          // command code of the request frame
    std::uint32_t responseCode = 0;                        // the gateway's result code; 0 for a status answer
    std::unique_ptr<BrenkGetStatusPayload> statusPayload;  // set for a status answer only
};

// An unsolicited message: a card or a PIN presented at a lock's reader.
struct VirtualGatewayEventMessage {
    std::uint8_t eventType = 0;       // the frame's command code, one of CommandCodes::kEvents
    std::uint16_t deviceAddress = 0;  // the lock, low 16 bits
    std::string data;                 // card or PIN bytes, upper-case hexadecimal; empty when the frame had none
    std::uint32_t reserved = 0;       // always 0
};

}  // namespace Messages::VG

class VirtualGateway;

// The owner's identity, context and callbacks. Callbacks may be null.
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

// A gateway's link to its owner, which may be replaced while threads call it: identity, context and callbacks of one
// call always belong to one owner.
//
// Any thread. Callbacks run on the notifying thread, without a lock of this object.
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
