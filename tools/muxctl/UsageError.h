#pragma once

#include <stdexcept>

namespace Muxctl {

// The command line asks for what cannot be done. `what()` is a sentence for people.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace Muxctl
