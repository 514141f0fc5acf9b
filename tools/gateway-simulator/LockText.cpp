#include "tools/gateway-simulator/LockText.h"

#include <array>
#include <cstddef>

namespace Simulator {
namespace {

constexpr std::array<const char*, 3> kStateNames = {"closed", "open", "open for a while"};

}  // namespace

const char* StateText(Lock::State state) {
    return kStateNames.at(static_cast<std::size_t>(state));
}

}  // namespace Simulator
