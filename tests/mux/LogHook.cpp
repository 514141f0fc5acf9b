#include "tests/mux/LogHook.h"

#include <plog/Appenders/IAppender.h>
#include <plog/Log.h>

#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <utility>

#include "tests/support/CapturedLog.h"
#include "threading/Synchronized.h"

namespace Testing {

struct LogHook::State {
    std::string text;
    std::function<void()> action;
    std::atomic<int> runs{0};
    std::shared_mutex running;
    bool isEnded = false;
};

namespace {

using StatePointer = std::shared_ptr<LogHook::State>;

class HookAppender : public plog::IAppender {
  public:
    void write(const plog::Record& record) override {
        const StatePointer state = current_.With([](const StatePointer& current) { return current; });
        if (state == nullptr || isRunning_ || std::string(record.getMessage()).find(state->text) == std::string::npos) {
            return;
        }
        const Running running;
        const std::shared_lock<std::shared_mutex> lock(state->running);
        if (state->isEnded) {
            return;
        }
        ++state->runs;
        state->action();
    }

    void Set(StatePointer state) {
        current_.With([&](StatePointer& current) { current.swap(state); });
    }

  private:
    struct Running {
        Running() { isRunning_ = true; }
        ~Running() { isRunning_ = false; }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;
    };

    static thread_local bool isRunning_;
    Threading::Synchronized<StatePointer> current_;
};

thread_local bool HookAppender::isRunning_ = false;

HookAppender& Appender() {
    static auto* appender = new HookAppender;
    return *appender;
}

}  // namespace

LogHook::LogHook(std::string text, std::function<void()> action) : state_(std::make_shared<State>()) {
    state_->text = std::move(text);
    state_->action = std::move(action);
    Appender().Set(state_);
}

LogHook::~LogHook() {
    Appender().Set(nullptr);
    const std::unique_lock<std::shared_mutex> lock(state_->running);
    state_->isEnded = true;
}

int LogHook::Runs() const {
    return state_->runs;
}

void LogHook::Install() {
    const CapturedLog log;
    plog::get()->addAppender(&Appender());
}

}  // namespace Testing
