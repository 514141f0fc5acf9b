#include "proxy/audit/OutboxQueue.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace MuxProxy {
namespace {

using std::chrono::steady_clock;

// What the broker has may come again after a crash, so that acknowledgements need no commits of their own.
constexpr std::chrono::seconds kLongestRemoval{1};
constexpr std::chrono::minutes kBetweenReports{1};

}  // namespace

bool OutboxQueue::Post(OutboxMessage message) {
    const std::lock_guard lock(mutex_);
    if (postCount_ >= mostPosts_) {
        ++droppedCount_;
        return false;
    }
    ++postCount_;
    posts_.push_back(std::move(message));
    return true;
}

bool OutboxQueue::Read(std::int64_t after, std::size_t count, Reader reader) {
    const std::lock_guard lock(mutex_);
    requests_.push_back({after, count, std::move(reader)});
    return true;
}

bool OutboxQueue::Remove(std::int64_t upTo) {
    const std::lock_guard lock(mutex_);
    const bool isFirst = removedUpTo_ == 0;
    removedUpTo_ = std::max(removedUpTo_, upTo);
    if (isFirst) {
        removalTime_ = steady_clock::now() + kLongestRemoval;
    }
    return isFirst;
}

void OutboxQueue::Open(Outbox& outbox, bool isOtherFile) {
    const bool isExchanged = isOtherFile && lastNumber_ != 0;
    if (isExchanged) {
        outbox.Renumber(lastNumber_);
        areAdded_ = areAdded_ || outbox.Count() != 0;
    }
    lastNumber_ = std::max(lastNumber_, outbox.LastNumber());
    if (isOtherFile) {
        for (OutboxMessage& message : changes_.added) {
            message.number = ++lastNumber_;
        }
        changes_.removedUpTo = 0;
        const std::lock_guard lock(mutex_);
        removedUpTo_ = 0;
    }
    countInFile_ = outbox.Count();
    Count();
}

void OutboxQueue::Complete(const AuditRow& row) {
    std::optional<OutboxMessage> message = hooks_.makeMessage(row);
    if (message) {
        message->number = ++lastNumber_;
        changes_.added.push_back(std::move(*message));
        Count();
    }
}

void OutboxQueue::Lose(const AuditRow& row) {
    if (hooks_.makeMessage(row)) {
        ++droppedCount_;
    }
}

void OutboxQueue::TakeRequests() {
    const std::lock_guard lock(mutex_);
    std::move(requests_.begin(), requests_.end(), std::back_inserter(takenRequests_));
    requests_.clear();
}

bool OutboxQueue::IsDue() const {
    const std::lock_guard lock(mutex_);
    return !changes_.added.empty() || !posts_.empty() || (removedUpTo_ != 0 && steady_clock::now() >= removalTime_);
}

bool OutboxQueue::HasRemoval() const {
    const std::lock_guard lock(mutex_);
    return removedUpTo_ != 0;
}

OutboxQueue::SteadyTime OutboxQueue::NextTime() const {
    const std::lock_guard lock(mutex_);
    const SteadyTime removal = removedUpTo_ != 0 ? removalTime_ : SteadyTime::max();
    const SteadyTime report = droppedCount_ != reportedDrops_ ? nextReport_ : SteadyTime::max();
    return std::min(removal, report);
}

const OutboxChanges& OutboxQueue::Changes() {
    const std::lock_guard lock(mutex_);
    takenPosts_ += posts_.size();
    for (OutboxMessage& message : posts_) {
        message.number = ++lastNumber_;
        changes_.added.push_back(std::move(message));
    }
    posts_.clear();
    changes_.removedUpTo = std::max(changes_.removedUpTo, std::exchange(removedUpTo_, 0));
    return changes_;
}

void OutboxQueue::Written(const Outbox& outbox) {
    areAdded_ = areAdded_ || !changes_.added.empty();
    changes_ = {};
    countInFile_ = outbox.Count();
    Count();
    const std::lock_guard lock(mutex_);
    postCount_ -= std::exchange(takenPosts_, 0);
}

void OutboxQueue::Announce() {
    if (std::exchange(areAdded_, false) && hooks_.messagesAdded) {
        hooks_.messagesAdded();
    }
}

void OutboxQueue::AnswerReads(Outbox& outbox) {
    while (!takenRequests_.empty()) {
        const Request& request = takenRequests_.front();
        OutboxMessages messages = outbox.Read(std::max(request.after, RemovedUpTo()), request.count);
        const Reader reader = request.reader;
        takenRequests_.erase(takenRequests_.begin());
        reader(std::move(messages));
    }
}

// Also what is still in the file.
std::int64_t OutboxQueue::RemovedUpTo() const {
    const std::lock_guard lock(mutex_);
    return std::max(removedUpTo_, changes_.removedUpTo);
}

bool OutboxQueue::Trim(Outbox& outbox, std::optional<SystemTime> oldest) {
    const std::size_t dropped = outbox.Trim(oldest, hooks_.mostMessages);
    droppedCount_ += dropped;
    countInFile_ = outbox.Count();
    Count();
    return dropped != 0;
}

std::optional<std::string> OutboxQueue::DropReport(bool isLast) {
    const std::uint64_t dropped = droppedCount_;
    const SteadyTime now = steady_clock::now();
    if (dropped == reportedDrops_ || (now < nextReport_ && !isLast)) {
        return std::nullopt;
    }
    nextReport_ = now + kBetweenReports;
    return std::to_string(dropped - std::exchange(reportedDrops_, dropped)) + " messages for the broker dropped";
}

void OutboxQueue::Count() {
    waitingCount_ = countInFile_ + changes_.added.size();
}

}  // namespace MuxProxy
