#include "tools/gateway-simulator/LockText.h"

#include <array>
#include <cstddef>

namespace Simulator {
namespace {

constexpr std::array<const char*, 3> kStateNames = {"closed", "open", "open for a while"};

}  // namespace

const char* StateText(const Lock& lock) {
    return kStateNames.at(static_cast<std::size_t>(lock.StateAt(Lock::Clock::now())));
}

}  // namespace Simulator
