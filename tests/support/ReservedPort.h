#pragma once

#include "tests/support/LoopbackSocket.h"

namespace Testing {

// A free port, kept from everybody else on this machine while the object lives: it is bound and never listens.
//
// A listener that sets SO_REUSEADDR and SO_REUSEPORT, as the program's does, can still take it; until one does,
// connecting to it is refused.
class ReservedPort {
  public:
    ReservedPort();

    int Number() const;

  private:
    LoopbackSocket bound_;
};

}  // namespace Testing
