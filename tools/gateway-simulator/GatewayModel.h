#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "tools/gateway-simulator/Frame.h"
#include "tools/gateway-simulator/FrameCodec.h"
#include "tools/gateway-simulator/GatewayStatus.h"
#include "tools/gateway-simulator/Lock.h"
#include "tools/gateway-simulator/LockCommands.h"
#include "tools/gateway-simulator/ProtocolCodes.h"

namespace Simulator {

// The gateway without its network: sequence counter, locks, and what it answers to a request.
//
// Not thread-safe.
class GatewayModel {
  public:
    // Takes the sequence counter of the last request that counts as accepted.
    explicit GatewayModel(std::uint32_t counter) : counter_(counter) {}

    std::uint32_t Counter() const { return counter_; }
    void SetCounter(std::uint32_t counter) { counter_ = counter; }

    // False when a lock of that address is there already.
    bool AddLock(const Lock& lock);
    // False when there is none.
    bool RemoveLock(std::uint32_t address);
    // Null for an unknown address. The lock is the gateway's and lives until it is removed.
    Lock* FindLock(std::uint32_t address);
    // By address.
    std::vector<Lock> Locks() const;
    std::vector<LockStatus> LockStatuses(Lock::TimePoint now) const;

    // A counter one above the gateway's is accepted and becomes the gateway's, whatever the request comes to;
    // any other leaves it as it is. Counts on from 0xFFFFFFFF to 0.
    bool AcceptCounter(std::uint32_t requestCounter);

    // The answer to a request whose counter was not accepted: result 7 and the gateway's counter in 4 bytes.
    Frame AnswerCounterError(const Frame& request) const;
    // The answer to a request whose counter was accepted: kNoRoute for an unknown address, else the lock's.
    Frame AnswerRequest(const Frame& request, Lock::TimePoint now);
    // An answer with this result and nothing carried out; result 7 comes with the gateway's counter.
    Frame AnswerResult(const Frame& request, std::uint8_t result) const;

  private:
    std::uint32_t counter_;
    std::map<std::uint32_t, Lock> locks_;
};

}  // namespace Simulator
