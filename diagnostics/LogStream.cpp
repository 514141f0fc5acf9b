#include "diagnostics/LogStream.h"

#include <malloc.h>
#include <poll.h>

#include <csignal>
#include <exception>
#include <new>
#include <utility>

#include "diagnostics/Log.h"
#include "diagnostics/ProcessEnd.h"

namespace Diagnostics {
namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds kStalledAfter{1};
// Needed only for a target that takes less than is logged. A serial line of 9600 baud takes it in an hour.
constexpr std::size_t kMostBytes = 4UL * 1024 * 1024;
constexpr std::size_t kBytesToGiveBack = 256UL * 1024;
// What is passed on while others wait for the lock.
constexpr std::size_t kBytesAtOnce = 16384;
// A terminal may have room without saying so, and a pipe may get a reader.
constexpr milliseconds kLook{200};

// A handler of the process's signals logs, and must not find the lock held by its own thread. Faults are those of the
// thread itself; a blocked one would kill the process without a dump.
sigset_t SignalsForOtherThreads() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int fault : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV}) {
        sigdelset(&signals, fault);
    }
    return signals;
}

}  // namespace

LogStream::LogStream(LineTarget target, Notice notice) : notice_(std::move(notice)), target_(std::move(target)) {}

LogStream::~LogStream() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stops_ = true;
        wake_.notify_one();
    }
    if (writer_.joinable()) {
        writer_.join();
    }
}

void LogStream::Write(std::string line) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (queue_.IsEmpty() && missing_ == 0) {
        const ssize_t taken = target_.Take(line);
        if (taken == static_cast<ssize_t>(line.size())) {
            return;
        }
        queue_.Append(std::move(line));
        if (taken != LineTarget::kGone) {
            queue_.Take(static_cast<std::size_t>(taken));
        }
        lastTaken_ = Clock::now();
    } else if (MayQueue() || IsEndingOnThisThread()) {
        QueueNotice();
        queue_.Append(std::move(line));
    } else {
        ++missing_;
        return;
    }
    WakeWriter();
}

// Once lines are missing there has to be some room again before the next one, or notices would alternate with lines.
bool LogStream::MayQueue() {
    if (HasStalled()) {
        PassOn();  // The writer may not have come to it.
    }
    return !HasStalled() && queue_.Bytes() < (missing_ == 0 ? kMostBytes : kMostBytes / 2);
}

// Without memory for the notice the lines stay missing until there is some.
void LogStream::QueueNotice() {
    if (missing_ == 0) {
        return;
    }
    try {
        queue_.Append(notice_(missing_));
        missing_ = 0;
    } catch (const std::bad_alloc&) {
    }
}

// Returns whether something was taken.
bool LogStream::PassOn() {
    std::size_t bytes = 0;
    bool isTaken = true;
    while (isTaken && bytes < kBytesAtOnce && !queue_.IsEmpty()) {
        const std::size_t taken = PassOnSome();
        isTaken = taken > 0;
        bytes += taken;
        if (queue_.IsEmpty()) {
            QueueNotice();
        }
    }
    if (bytes > 0) {
        lastTaken_ = Clock::now();
    } else {
        LookForReader();
    }
    return bytes > 0;
}

// Returns how many bytes of the first line were taken.
std::size_t LogStream::PassOnSome() {
    const ssize_t taken = target_.Take(queue_.Rest());
    if (taken == LineTarget::kGone) {
        queue_.RestartLine();
        return 0;
    }
    queue_.Take(static_cast<std::size_t>(taken));
    return static_cast<std::size_t>(taken);
}

bool LogStream::HasStalled() const {
    return !queue_.IsEmpty() && Clock::now() - lastTaken_ >= kStalledAfter;
}

// A pipe takes more only when a whole page of it was read; whoever reads slowly needs longer than a second for that.
void LogStream::LookForReader() {
    const int backlog = target_.Backlog();
    if (backlog < backlog_) {
        lastTaken_ = Clock::now();
    }
    backlog_ = backlog;
}

void LogStream::WakeWriter() {
    if (!writer_.joinable()) {
        StartWriter();
    }
    wake_.notify_one();
}

// Without room for a thread each line tries itself to pass on what is queued.
void LogStream::StartWriter() {
    const sigset_t blocked = SignalsForOtherThreads();
    sigset_t previous;
    pthread_sigmask(SIG_BLOCK, &blocked, &previous);
    try {
        writer_ = std::thread([this] { RunWriter(); });
    } catch (const std::exception&) {
        PassOn();
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

void LogStream::RunWriter() {
    const LogCall faultsHereAreInsideTheLog;
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stops_) {
        if (queue_.IsEmpty()) {
            GiveMemoryBack(lock);
            wake_.wait(lock, [this] { return stops_ || !queue_.IsEmpty(); });
        } else if (PassOn()) {
            lock.unlock();
            std::this_thread::yield();
            lock.lock();
        } else {
            WaitForReader(lock);
        }
    }
}

// What a long queue had stays with the allocator otherwise, for as long as something behind it is in use.
void LogStream::GiveMemoryBack(std::unique_lock<std::mutex>& lock) {
    if (queue_.TakeMostBytes() < kBytesToGiveBack) {
        return;
    }
    lock.unlock();
    malloc_trim(0);
    lock.lock();
}

// The lock is held by nobody meanwhile.
void LogStream::WaitForReader(std::unique_lock<std::mutex>& lock) {
    pollfd waited = {target_.Descriptor(), POLLOUT, 0};
    lock.unlock();
    const bool isReady = poll(&waited, 1, static_cast<int>(kLook.count())) > 0;
    lock.lock();
    // A pipe that has lost its reader is always ready and never takes anything.
    if (isReady && !PassOn() && !stops_) {
        wake_.wait_for(lock, kLook);
    }
}

void LogStream::Flush(Clock::time_point end) {
    std::unique_lock<std::mutex> lock(mutex_);
    const std::uint64_t last = queue_.LinesAppended();
    while (queue_.LinesTaken() < last && Clock::now() < end) {
        if (!PassOn()) {
            if (HasStalled()) {
                return;
            }
            WaitForReader(lock);
        }
    }
}

}  // namespace Diagnostics
