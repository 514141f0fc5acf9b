#pragma once

#include <stdexcept>

namespace Tools {

// What is wrong with what a person typed or wrote into a file, in words for them.
class InputError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace Tools
