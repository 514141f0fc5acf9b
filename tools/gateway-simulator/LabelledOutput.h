#pragma once

#include <string>

#include "tools/gateway-simulator/LineOutput.h"

namespace Simulator {

// Prefixes lines with a label, as in "2: 14:03:07.512 -> OPEN_LOCK ...", to distinguish several gateways.
//
// As thread-safe as the output it passes them to, which must outlive it.
class LabelledOutput : public LineOutput {
  public:
    LabelledOutput(LineOutput& target, std::string label);

    void Write(const std::string& text) override;

  private:
    LineOutput& target_;
    std::string label_;
};

}  // namespace Simulator
