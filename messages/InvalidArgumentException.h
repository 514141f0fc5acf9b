#pragma once

#include "messages/BrenkException.h"

namespace Brenk {

// An argument has a value that can never work, such as port 0.
class InvalidArgumentException : public BrenkException {
  public:
    InvalidArgumentException() : BrenkException("Invalid argument found") {}
};

}  // namespace Brenk
