#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "tools/gateway-simulator/FrameText.h"
#include "tools/gateway-simulator/Observer.h"

namespace Testing {

// Remembers what a gateway reports, one line for each call. Any thread may ask.
class RecordingObserver : public Simulator::Observer {
  public:
    void Connected(const std::string& /*peer*/) override { Add("connected"); }
    void Disconnected(const std::string& /*peer*/, const std::string& reason) override { Add("ended: " + reason); }
    void Received(const Simulator::ReceivedFrame& received) override { Add(DescribeReceived(received)); }
    void Answered(const Simulator::Frame& answer, const std::vector<Simulator::Fault>& faults) override {
        Add(DescribeAnswer(answer, faults));
    }
    void EventSent(const Simulator::Frame& event) override { Add(DescribeEvent(event)); }
    void Notice(const std::string& text) override { Add(text); }
    void Failed(const std::string& reason) override { Add("failed: " + reason); }

    std::vector<std::string> Lines() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return lines_;
    }

  private:
    void Add(const std::string& line) {
        const std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back(line);
    }

    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

}  // namespace Testing
