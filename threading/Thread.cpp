#include "threading/Thread.h"

#include <utility>

#include "diagnostics/Log.h"

namespace Threading {
namespace {

struct StartBlock {
    Thread::Procedure procedure;
    void* argument;
    std::shared_ptr<std::atomic<bool>> ended;
};

// Set on every way out of the procedure: return, pthread_exit and cancellation.
class EndMark {
  public:
    explicit EndMark(std::shared_ptr<std::atomic<bool>> ended) : ended_(std::move(ended)) {}
    ~EndMark() { *ended_ = true; }
    EndMark(const EndMark&) = delete;
    EndMark& operator=(const EndMark&) = delete;

  private:
    std::shared_ptr<std::atomic<bool>> ended_;
};

void* RunProcedure(void* argument) {
    const std::unique_ptr<StartBlock> block(static_cast<StartBlock*>(argument));
    const EndMark mark(block->ended);
    return block->procedure(block->argument);
}

}  // namespace

Thread::Thread(Procedure procedure) : procedure_(procedure) {}

Thread::~Thread() {
    if (started_ && !joined_) {
        Cancel();
        DetachAndForget();
    }
}

bool Thread::Start(void* argument) {
    if (procedure_ == nullptr || started_) {
        return false;
    }
    auto block = std::make_unique<StartBlock>(StartBlock{procedure_, argument, ended_});
    started_ = pthread_create(&thread_, nullptr, RunProcedure, block.get()) == 0;
    if (started_) {
        // NOLINTNEXTLINE(bugprone-unused-return-value): the new thread owns the block
        static_cast<void>(block.release());
    }
    return started_;
}

bool Thread::Join() {
    MUX_OPERATION();
    if (!started_ || joined_ || thread_ == 0) {
        return false;
    }
    MUX_LOG(plog::verbose) << "Waiting for join thrad ID " << thread_;
    joined_ = pthread_join(thread_, nullptr) == 0;
    return joined_;
}

void Thread::Cancel() {
    if (thread_ == 0 || joined_ || HasEnded()) {
        return;
    }
    const pthread_t thread = thread_;
    // Still joinable, so the handle is valid even if the thread ends right now.
    if (pthread_cancel(thread) == 0) {
        DetachAndForget();
    }
}

bool Thread::HasEnded() const {
    return *ended_;
}

void Thread::DetachAndForget() {
    if (thread_ != 0) {
        pthread_detach(thread_);
        thread_ = 0;
    }
}

}  // namespace Threading
