#pragma once

#include <string>
#include <vector>

#include "tools/gateway-simulator/LineWriter.h"
#include "tools/gateway-simulator/Observer.h"

namespace Simulator {

// Tells what happens at a gateway in lines for a person: one for each frame, answer, event and connection.
class TextReporter : public Observer {
  public:
    // The writer must remain live as long as the reporter.
    explicit TextReporter(LineWriter& writer) : writer_(writer) {}

    void Connected(const std::string& peer) override;
    void Disconnected(const std::string& peer, const std::string& reason) override;
    void Received(const ReceivedFrame& received) override;
    void Answered(const Frame& answer, const std::vector<Fault>& faults) override;
    void EventSent(const Frame& event) override;
    void Notice(const std::string& text) override;

  private:
    LineWriter& writer_;
};

}  // namespace Simulator
