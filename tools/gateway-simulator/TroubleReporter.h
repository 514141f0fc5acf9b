#pragma once

#include <string>

#include "tools/gateway-simulator/LineOutput.h"
#include "tools/gateway-simulator/Observer.h"

namespace Simulator {

// Reports only trouble, for users who want no other lines.
class TroubleReporter : public Observer {
  public:
    // The output must remain live as long as the reporter.
    explicit TroubleReporter(LineOutput& output) : output_(output) {}

    void Failed(const std::string& reason) override { output_.WriteTimed("error: " + reason); }

  protected:
    LineOutput& Output() const { return output_; }

  private:
    LineOutput& output_;
};

}  // namespace Simulator
