#pragma once

#include "messages/BrenkException.h"

namespace Brenk {

// A pointer that must be given is null.
class ArgumentNullException : public BrenkException {
  public:
    ArgumentNullException() : BrenkException("Argument null") {}
};

}  // namespace Brenk
