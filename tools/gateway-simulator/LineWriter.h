#pragma once

#include <mutex>
#include <ostream>
#include <string>

#include "tools/gateway-simulator/LineOutput.h"

namespace Simulator {

// Writes whole lines to a stream, each flushed at once, so that lines of several threads never mix.
//
// Any thread may call anything. The stream must remain live as long as the writer.
class LineWriter : public LineOutput {
  public:
    explicit LineWriter(std::ostream& stream) : stream_(stream) {}

    void Write(const std::string& text) override;

  private:
    std::mutex mutex_;
    std::ostream& stream_;
};

}  // namespace Simulator
