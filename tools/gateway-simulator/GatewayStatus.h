#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tools/gateway-simulator/Fault.h"
#include "tools/gateway-simulator/Lock.h"

namespace Simulator {

// What a person sees of a lock at some moment: its cards only counted, for there may be many.
struct LockStatus {
    std::uint32_t address = 0;
    Lock::State state = Lock::State::kClosed;
    unsigned batteryStatus = 0;
    unsigned batteryLevel = 0;
    std::size_t cards = 0;
    std::size_t capacity = 0;
    bool whitelistEnabled = true;
    bool mechanicalActive = false;
    bool batteryWarning = false;
    bool batteryAlarm = false;
    bool eventPending = false;
};

// The same of a gateway.
struct GatewayStatus {
    // 0 before the first start.
    std::uint16_t port = 0;
    bool connected = false;
    std::uint32_t counter = 0;
    // By address.
    std::vector<LockStatus> locks;
    // Oldest first.
    std::vector<Fault> faults;
};

// A line of what happened at a gateway.
struct RecentLine {
    std::string text;
    bool isKeepAlive = false;
};

// A gateway that a person sees among others.
struct GatewayView {
    std::int32_t id = 1;
    std::string name;
    // "127.0.0.1:2101".
    std::string address;
    GatewayStatus status;
    // By address; a lock without a name may be missing.
    std::map<std::uint32_t, std::string> lockNames;
    // Oldest first.
    std::vector<RecentLine> recent;
};

// Any thread may call it, as long as no other changes the lock.
LockStatus StatusOf(const Lock& lock, Lock::TimePoint now);

}  // namespace Simulator
