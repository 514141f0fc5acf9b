#pragma once

#include <string>
#include <vector>

#include "tools/gateway-simulator/Fault.h"
#include "tools/gateway-simulator/Frame.h"
#include "tools/gateway-simulator/ReceivedFrame.h"

namespace Simulator {

// Notified of everything that happens at a gateway.
//
// All calls come from the gateway's own thread, one at a time; they may call the gateway, and they delay it.
class Observer {
  public:
    virtual ~Observer() = default;

    // Peer as ADDRESS:PORT.
    virtual void Connected(const std::string& /*peer*/) {}
    virtual void Disconnected(const std::string& /*peer*/, const std::string& /*reason*/) {}
    virtual void Received(const ReceivedFrame& /*received*/) {}
    // An answer as it would be without faults, and the faults it goes out with.
    virtual void Answered(const Frame& /*answer*/, const std::vector<Fault>& /*faults*/) {}
    virtual void EventSent(const Frame& /*event*/) {}
    // Output of a console command, and what else a person should know.
    virtual void Notice(const std::string& /*text*/) {}
    // What the gateway could not do for itself, as to keep its whitelists.
    virtual void Failed(const std::string& /*reason*/) {}
};

}  // namespace Simulator
