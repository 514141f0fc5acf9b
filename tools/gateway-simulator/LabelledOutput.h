#pragma once

#include <string>

#include "tools/gateway-simulator/LineOutput.h"

namespace Simulator {

// Passes lines on with a label in front of each, as in "2: 14:03:07.512 -> OPEN_LOCK ...", so that lines of several
// gateways can be told apart.
//
// As safe for threads as the output it passes them to, which must remain live as long as it.
class LabelledOutput : public LineOutput {
  public:
    LabelledOutput(LineOutput& target, std::string label);

    void Write(const std::string& text) override;

  private:
    LineOutput& target_;
    std::string label_;
};

}  // namespace Simulator
