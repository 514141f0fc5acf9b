#include "proxy/mqtt/BrokerLink.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "proxy/audit/SilentThread.h"

namespace MuxProxy {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::duration_cast;
using std::chrono::milliseconds;

constexpr milliseconds kLongestPause{1000};
// Of the destructor's time.
constexpr milliseconds kLongestGoodbye{1000};

}  // namespace

// The thread, and what others leave for it.
class BrokerLink::Worker : private BrokerSessionOwner {
  public:
    Worker(BrokerSettings settings, BrokerEvents& events, const DelaySettings& delays)
        : settings_(std::move(settings)),
          events_(events),
          delays_(delays),
          wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (wake_ < 0) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
    }
    ~Worker() override { close(wake_); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void Run() {
        while (!isStopping_) {
            Live();
            session_.reset();
            Pause();
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        hasEnded_ = true;
        changed_.notify_all();
    }

    PublishNumber Publish(BrokerConnection connection, BrokerMessage message) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const PublishNumber number = ++lastNumber_;
        if (connection == opened_ && opened_ != 0) {
            waiting_.push_back({number, std::move(message)});
            Wake();
        }
        return number;
    }

    void MessageTaken() {
        const std::lock_guard<std::mutex> lock(mutex_);
        untakenBytes_ -= untaken_.front();
        untaken_.pop_front();
        if (isFull_ && HasRoom()) {
            isFull_ = false;
            Wake();
        }
    }

    void End() {
        isStopping_ = true;
        Wake();
        const std::lock_guard<std::mutex> lock(mutex_);
        changed_.notify_all();
    }

    // False if the thread is not at its end by then.
    bool WaitForEnd(milliseconds longest) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, longest, [this] { return hasEnded_; });
    }

  private:
    struct Outgoing {
        PublishNumber number = 0;
        BrokerMessage message;
    };

    // One connection. Connecting may outlast the link, so that nothing of its owner is touched then.
    void Live() {
        BrokerSessionOwner& owner = *this;
        try {
            session_.emplace(settings_, owner);
            session_->Connect();
            while (!isStopping_) {
                session_->Run(wake_, kLongestPause, MayRead());
                ClearWake();
                PublishWaiting();
            }
            session_->End(kLongestGoodbye);
        } catch (const std::bad_alloc&) {
            FailUnlessStopping("there is not enough memory for it");
        } catch (const std::exception& error) {
            FailUnlessStopping(error.what());
        }
    }

    // Its reports need memory too: one that cannot be made is left out, and what waits for it with the next connection.
    void FailUnlessStopping(const char* reason) noexcept {
        session_.reset();
        try {
            isStopping_ ? static_cast<void>(0) : Fail(reason);
        } catch (const std::exception&) {
            SetOpened(0);
        }
    }

    bool HasRoom() const { return untaken_.size() < kMostUntaken && untakenBytes_ < kMostUntakenBytes; }

    bool MayRead() {
        const std::lock_guard<std::mutex> lock(mutex_);
        isFull_ = !HasRoom();
        return !isFull_;
    }

    void Fail(const std::string& reason) {
        if (const auto opened = std::exchange(openedAt_, std::nullopt)) {
            delays_.Lasted(duration_cast<milliseconds>(Clock::now() - *opened));
            SetOpened(0);
            events_.BrokerLost(reason);
        } else if (!std::exchange(hasComplained_, true)) {
            events_.BrokerFailed(reason);
        }
    }

    void Pause() {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!isStopping_) {
            changed_.wait_for(lock, delays_.Next(), [this] { return isStopping_.load(); });
        }
    }

    void PublishWaiting() {
        if (!session_->IsOpen()) {
            return;
        }
        std::deque<Outgoing> outgoing;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            outgoing.swap(waiting_);
        }
        for (const Outgoing& next : outgoing) {
            session_->Publish(next.number, next.message);
        }
    }

    // What was left for an earlier connection is dropped.
    void SetOpened(BrokerConnection connection) {
        const std::lock_guard<std::mutex> lock(mutex_);
        opened_ = connection;
        waiting_.clear();
    }

    void SessionOpened() override {
        hasComplained_ = false;
        openedAt_ = Clock::now();
        SetOpened(++lastConnection_);
        events_.BrokerOpened(lastConnection_);
    }

    void SessionReceived(BrokerMessage message) override {
        const std::size_t size = message.topic.size() + message.payload.size() + message.responseTopic.size() +
                                 message.correlationData.size();
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            untaken_.push_back(size);
            untakenBytes_ += size;
        }
        try {
            events_.BrokerReceived(std::move(message));
        } catch (const std::exception&) {
            const std::lock_guard<std::mutex> lock(mutex_);
            untakenBytes_ -= untaken_.back();
            untaken_.pop_back();
            throw;
        }
    }

    void SessionPublished(PublishNumber number, PublishResult result) override {
        events_.BrokerPublished(number, result);
    }

    void SessionComplained(const std::string& complaint) override { events_.BrokerComplained(complaint); }

    void Wake() const { eventfd_write(wake_, 1); }

    void ClearWake() const {
        eventfd_t ignored = 0;
        eventfd_read(wake_, &ignored);
    }

    const BrokerSettings settings_;
    BrokerEvents& events_;
    ReconnectDelays delays_;
    const int wake_;
    std::atomic<bool> isStopping_{false};

    // Also signalled when the link ends.
    std::condition_variable changed_;
    std::mutex mutex_;
    // These belong to the mutex.
    std::deque<Outgoing> waiting_;
    BrokerConnection opened_ = 0;
    PublishNumber lastNumber_ = 0;
    bool hasEnded_ = false;
    // The sizes of received messages, in order, and whether they are too many to read more.
    std::deque<std::size_t> untaken_;
    std::size_t untakenBytes_ = 0;
    bool isFull_ = false;

    // These belong to the thread.
    std::optional<BrokerSession> session_;
    std::optional<Clock::time_point> openedAt_;
    BrokerConnection lastConnection_ = 0;
    bool hasComplained_ = false;
};

BrokerLink::BrokerLink(const BrokerSettings& settings, BrokerEvents& events, const DelaySettings& delays)
    : worker_(std::make_shared<Worker>(settings, events, delays)) {
    thread_ = StartSilentThread([worker = worker_] { worker->Run(); });
}

BrokerLink::~BrokerLink() {
    End();
    worker_->WaitForEnd(kLongestEnd) ? thread_.join() : thread_.detach();
}

void BrokerLink::End() {
    worker_->End();
}

PublishNumber BrokerLink::Publish(BrokerConnection connection, BrokerMessage message) {
    return worker_->Publish(connection, std::move(message));
}

void BrokerLink::MessageTaken() {
    worker_->MessageTaken();
}

}  // namespace MuxProxy
