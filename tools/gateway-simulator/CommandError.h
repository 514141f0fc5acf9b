#pragma once

#include <stdexcept>

namespace Simulator {

// What is wrong with a command line, in words for the person who typed it.
class CommandError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace Simulator
