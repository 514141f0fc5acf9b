#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tools/gateway-simulator/Fault.h"

namespace Simulator {

// The faults that wait for an answer to apply to. Faults of different kinds apply to an answer together.
//
// Not thread-safe.
class FaultPlan {
  public:
    // Takes the place of an earlier fault of the same kind for the same lock (or for all).
    void Inject(const Fault& fault);
    void Clear() { faults_.clear(); }
    // Those that still apply, oldest first.
    const std::vector<Fault>& Faults() const { return faults_; }

    // The faults for the next answer to this address, each used up by one, without the forced result.
    std::vector<Fault> Take(std::uint32_t address);
    // The forced result for the next accepted request to this address, used up by one; nothing when there is none.
    std::optional<Fault> TakeForcedResult(std::uint32_t address);

  private:
    template <typename Wanted>
    std::vector<Fault> TakeIf(Wanted wanted);

    std::vector<Fault> faults_;
};

}  // namespace Simulator
