#pragma once

#include <string>
#include <vector>

#include "tools/gateway-simulator/TroubleReporter.h"

namespace Simulator {

// Tells what happens at a gateway in lines for a person: one for each frame, answer, event and connection.
class TextReporter : public TroubleReporter {
  public:
    // The output must remain live as long as the reporter.
    using TroubleReporter::TroubleReporter;

    void Connected(const std::string& peer) override;
    void Disconnected(const std::string& peer, const std::string& reason) override;
    void Received(const ReceivedFrame& received) override;
    void Answered(const Frame& answer, const std::vector<Fault>& faults) override;
    void EventSent(const Frame& event) override;
    void Notice(const std::string& text) override;
};

}  // namespace Simulator
