#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "proxy/audit/AuditFile.h"
#include "proxy/audit/AuditLog.h"
#include "proxy/audit/Outbox.h"

namespace MuxProxy {

// What is on its way to the outbox or asked of it, between the threads that hand it over and the audit's own.
class OutboxQueue {
  public:
    using Reader = std::function<void(OutboxMessages)>;
    using SteadyTime = std::chrono::steady_clock::time_point;

    OutboxQueue(const AuditHooks& hooks, std::size_t mostPosts) : hooks_(hooks), mostPosts_(mostPosts) {}

    // Any thread. Each returns whether the audit's thread has to be woken.
    bool Post(OutboxMessage message);
    bool Read(std::int64_t after, std::size_t count, Reader reader);
    bool Remove(std::int64_t upTo);

    // Any thread.
    std::uint64_t WaitingCount() const { return waitingCount_; }
    void CountDropped() { ++droppedCount_; }
    std::uint64_t DroppedCount() const { return droppedCount_; }
    // Counts the message of a row that is dropped, if it has one.
    void Lose(const AuditRow& row);

    // The rest is for the audit's thread.

    // The file was opened. In another file than before, what waits gets new numbers, and so do the messages in the
    // file: they may be older ones, with numbers that were read and removed in the file before, or a copy of these.
    void Open(Outbox& outbox, bool isOtherFile);
    // Makes the message of a row that is complete.
    void Complete(const AuditRow& row);

    // Takes what is asked for. What was handed over before is written before it is answered.
    void TakeRequests();
    bool IsDue() const;
    bool HasRemoval() const;
    // When there is something to do without being woken.
    SteadyTime NextTime() const;
    // What the next commit does. The same again, and more, until Written().
    const OutboxChanges& Changes();
    // All of it is in the file now.
    void Written(const Outbox& outbox);

    // Says that messages were added since the last time.
    void Announce();
    // Throws AuditFileError; what was not read stays asked for.
    void AnswerReads(Outbox& outbox);
    // Drops what waits too long or is too much. True when there is more to do.
    bool Trim(Outbox& outbox, std::optional<SystemTime> oldest);
    // How many were dropped, for people, at most once a minute unless it is the last time.
    std::optional<std::string> DropReport(bool isLast);

  private:
    struct Request {
        std::int64_t after = 0;
        std::size_t count = 0;
        Reader reader;
    };

    void Count();
    std::int64_t RemovedUpTo() const;

    const AuditHooks hooks_;
    const std::size_t mostPosts_;

    mutable std::mutex mutex_;
    // These belong to the mutex.
    OutboxMessages posts_;
    // Also those that were taken and are not in the file.
    std::size_t postCount_ = 0;
    std::vector<Request> requests_;
    std::int64_t removedUpTo_ = 0;
    SteadyTime removalTime_{};

    std::atomic<std::uint64_t> waitingCount_{0};
    std::atomic<std::uint64_t> droppedCount_{0};

    // These belong to the thread.
    std::vector<Request> takenRequests_;
    OutboxChanges changes_;
    std::size_t takenPosts_ = 0;
    std::int64_t lastNumber_ = 0;
    std::size_t countInFile_ = 0;
    bool areAdded_ = false;
    std::uint64_t reportedDrops_ = 0;
    SteadyTime nextReport_{};
};

}  // namespace MuxProxy
