#include "tools/gateway-simulator/FaultPlan.h"

#include <algorithm>

namespace Simulator {
namespace {

bool AppliesTo(const Fault& fault, std::uint32_t address) {
    return !fault.address || *fault.address == address;
}

void UseUp(Fault& fault) {
    if (fault.remaining != Fault::kAlways) {
        --fault.remaining;
    }
}

template <typename Condition>
void EraseIf(std::vector<Fault>& faults, Condition condition) {
    faults.erase(std::remove_if(faults.begin(), faults.end(), condition), faults.end());
}

}  // namespace

void FaultPlan::Inject(const Fault& fault) {
    EraseIf(faults_, [&](const Fault& old) { return old.kind == fault.kind && old.address == fault.address; });
    if (fault.remaining > 0) {
        faults_.push_back(fault);
    }
}

std::vector<Fault> FaultPlan::Take(std::uint32_t address) {
    return TakeIf(
        [&](const Fault& fault) { return fault.kind != FaultKind::kForceResult && AppliesTo(fault, address); });
}

std::optional<Fault> FaultPlan::TakeForcedResult(std::uint32_t address) {
    const std::vector<Fault> taken =
        TakeIf([&](const Fault& fault) { return fault.kind == FaultKind::kForceResult && AppliesTo(fault, address); });
    return taken.empty() ? std::nullopt : std::make_optional(taken.back());
}

template <typename Wanted>
std::vector<Fault> FaultPlan::TakeIf(Wanted wanted) {
    std::vector<Fault> taken;
    for (Fault& fault : faults_) {
        if (wanted(fault)) {
            taken.push_back(fault);
            UseUp(fault);
        }
    }
    EraseIf(faults_, [](const Fault& fault) { return fault.remaining == 0; });
    return taken;
}

}  // namespace Simulator
