#pragma once

#include <cstdint>

#include "tests/support/LoopbackSocket.h"

namespace Testing {

// A free TCP port that stays ours, so that test programs running side by side never meet on one port.
//
// The port is bound and not listened on. A program that binds with SO_REUSEPORT, as the Mux does, can have it; until
// one does, connecting to it is refused, and everybody who looks for any free port gets another one.
class ReservedPort {
  public:
    ReservedPort();

    // The port of this number. Throws std::system_error when the Mux could not have it either.
    explicit ReservedPort(std::uint16_t number);

    std::uint16_t Number() const;

  private:
    void Bind(std::uint16_t number);

    LoopbackSocket bound_;
};

}  // namespace Testing
