#pragma once

#include "messages/BrenkException.h"

namespace Brenk {

// An object that must hold something is null or empty, such as a gateway's IP address.
class NullObjectException : public BrenkException {
  public:
    NullObjectException() : BrenkException("Null or empty object") {}
};

}  // namespace Brenk
