#pragma once

#include <ctime>
#include <memory>

#include "gateway/GatewayOwner.h"
#include "mux/messages/MuxMessage.h"

namespace Mux {

// Builds the client message of a gateway's event at `now` (seconds since the epoch): its MessageID is
// "lockEventMessage-" and that number, its time text is local time. Null for an event type that clients do not get. Any
// thread.
std::unique_ptr<MuxMessage> BuildEventMessage(std::int32_t gatewayID,
                                              const Brenk::Messages::VG::VirtualGatewayEventMessage& event,
                                              std::time_t now);

// Local time as hour:minute:second day-month-year, numbers without leading zeros: "9:5:7 3-1-2026".
std::string EventTimeText(std::time_t time);

}  // namespace Mux
