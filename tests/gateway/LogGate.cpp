#include "tests/gateway/LogGate.h"

#include <gtest/gtest.h>
#include <plog/Appenders/IAppender.h>
#include <plog/Log.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "tests/support/CapturedLog.h"
#include "tests/support/FakeGateway.h"

namespace Testing {

class LogGateAppender : public plog::IAppender {
  public:
    using StatePointer = std::shared_ptr<LogGate::State>;

    // Never freed, as the log itself.
    static LogGateAppender& Instance() {
        static auto* const appender = new LogGateAppender;
        return *appender;
    }

    void Add(const StatePointer& gate) {
        const std::lock_guard<std::mutex> lock(mutex_);
        gates_.push_back(gate);
    }

    void Remove(const StatePointer& gate) {
        const std::lock_guard<std::mutex> lock(mutex_);
        gates_.erase(std::remove(gates_.begin(), gates_.end(), gate), gates_.end());
    }

    void write(const plog::Record& record) override {
        const std::string line = record.getMessage();
        for (const StatePointer& gate : Gates()) {
            if (line.find(gate->text) != std::string::npos) {
                WaitAt(*gate);
            }
        }
    }

  private:
    static void WaitAt(LogGate::State& gate) {
        std::unique_lock<std::mutex> lock(gate.mutex);
        gate.reached = true;
        gate.changed.notify_all();
        gate.changed.wait(lock, [&gate] { return gate.open; });
    }

    std::vector<StatePointer> Gates() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return gates_;
    }

    std::mutex mutex_;
    std::vector<StatePointer> gates_;
};

namespace {

// Appenders are added before there are threads that log, and after the one that captures.
class GateEnvironment : public ::testing::Environment {
  public:
    void SetUp() override {
        const CapturedLog createsTheLog;
        plog::get()->addAppender(&LogGateAppender::Instance());
    }
};

[[maybe_unused]] const auto* const gateEnvironment = ::testing::AddGlobalTestEnvironment(new GateEnvironment);

}  // namespace

LogGate::LogGate(std::string text) : state_(std::make_shared<State>()) {
    state_->text = std::move(text);
    LogGateAppender::Instance().Add(state_);
}

LogGate::~LogGate() {
    LogGateAppender::Instance().Remove(state_);
    Open();
}

bool LogGate::WaitForArrival() {
    std::unique_lock<std::mutex> lock(state_->mutex);
    return state_->changed.wait_for(lock, kDeadline, [this] { return state_->reached; });
}

void LogGate::Open() {
    {
        const std::lock_guard<std::mutex> lock(state_->mutex);
        state_->open = true;
    }
    state_->changed.notify_all();
}

}  // namespace Testing
