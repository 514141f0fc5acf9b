#pragma once

#include <string>
#include <vector>

#include "tools/gateway-simulator/TroubleReporter.h"

namespace Simulator {

// Reports what happens at a gateway: one line for each frame, answer, event and connection.
class TextReporter : public TroubleReporter {
  public:
    // The keep-alive frames of the Mux have an output of their own. Both must remain live as long as the reporter.
    TextReporter(LineOutput& output, LineOutput& keepAlives) : TroubleReporter(output), keepAlives_(keepAlives) {}

    void Connected(const std::string& peer) override;
    void Disconnected(const std::string& peer, const std::string& reason) override;
    void Received(const ReceivedFrame& received) override;
    void Answered(const Frame& answer, const std::vector<Fault>& faults) override;
    void EventSent(const Frame& event) override;
    void Notice(const std::string& text) override;

  private:
    LineOutput& FrameOutput() const { return lastIsKeepAlive_ ? keepAlives_ : Output(); }

    LineOutput& keepAlives_;
    // An answer is reported directly behind its request.
    bool lastIsKeepAlive_ = false;
};

}  // namespace Simulator
