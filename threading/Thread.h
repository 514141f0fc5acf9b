#pragma once

#include <pthread.h>

#include <atomic>
#include <memory>

namespace Threading {

// A thin owner of one POSIX thread: starts a procedure with one argument, joins it, and cancels it when it is
// destroyed while still running.
//
// Cancellation is deferred and unwinds the thread's stack, so a procedure that catches everything must let
// abi::__forced_unwind pass. A handle that was joined, or whose thread has ended, is never cancelled.
//
// The object belongs to the thread that made it; Cancel may be called by another as long as the object lives.
class Thread {
  public:
    using Procedure = void* (*)(void*);

    // `procedure` may be null: then Start fails.
    explicit Thread(Procedure procedure);

    // Cancels and detaches a thread that was started, not joined and has not ended.
    ~Thread();

    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    // Runs the procedure with `argument` on a new thread. False without a procedure, when the thread cannot be
    // created, or when it was started before. The argument stays the caller's if this fails.
    bool Start(void* argument);

    // Waits for the thread's end. False when it was not started, was joined before or cannot be joined.
    bool Join();

    // Asks the running thread to end at its next cancellation point; it can't be joined afterwards.
    void Cancel();

  private:
    bool HasEnded() const;
    void DetachAndForget();

    bool started_ = false;
    bool joined_ = false;
    pthread_t thread_ = 0;
    Procedure procedure_;
    std::shared_ptr<std::atomic<bool>> ended_ = std::make_shared<std::atomic<bool>>(false);
};

// The small heap block through which a thread procedure learns its owner: the starter makes it, the procedure
// takes the pointer out and frees the block.
template <typename Owner>
struct OwnerBlock {
    Owner* owner;
};

// Frees the block and returns the owner that it held; null for no block.
template <typename Owner>
Owner* TakeOwner(void* argument) {
    const std::unique_ptr<OwnerBlock<Owner>> block(static_cast<OwnerBlock<Owner>*>(argument));
    return block == nullptr ? nullptr : block->owner;
}

// Starts `thread` with a block that holds `owner`. False when it cannot be started.
template <typename ThreadType, typename Owner>
bool StartWithOwner(ThreadType& thread, Owner* owner) {
    auto block = std::make_unique<OwnerBlock<Owner>>(OwnerBlock<Owner>{owner});
    if (!thread.Start(block.get())) {
        return false;
    }
    static_cast<void>(block.release());
    return true;
}

}  // namespace Threading
