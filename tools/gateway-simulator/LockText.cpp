#include "tools/gateway-simulator/LockText.h"

#include <array>
#include <cstddef>

namespace Simulator {
namespace {

constexpr std::array<const char*, 3> kStateNames = {"closed", "open", "open (timed)"};
constexpr std::array<const char*, 4> kBatteryNames = {"not available", "resistance too high", "medium", "full"};
constexpr std::array<const char*, 4> kLevelNames = {"below 80 %", "80 % or more", "90 % or more", "95 % or more"};

}  // namespace

const char* StateText(Lock::State state) {
    return kStateNames.at(static_cast<std::size_t>(state));
}

std::string BatteryText(unsigned status, unsigned level) {
    return std::string("battery ") + kBatteryNames.at(status) + ", battery level " + kLevelNames.at(level);
}

}  // namespace Simulator
