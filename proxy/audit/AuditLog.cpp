#include "proxy/audit/AuditLog.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <unordered_set>
#include <utility>
#include <vector>

#include "proxy/audit/AuditBacklog.h"
#include "proxy/audit/AuditFile.h"
#include "proxy/audit/AuditJournal.h"
#include "proxy/audit/AuditSchema.h"
#include "proxy/audit/AuditText.h"
#include "proxy/audit/ClockWatch.h"
#include "proxy/audit/OutboxQueue.h"
#include "proxy/audit/Retention.h"
#include "proxy/audit/SilentThread.h"

namespace MuxProxy {
namespace {

using SteadyTime = std::chrono::steady_clock::time_point;

// How often rows that became too old are looked for while there is nothing else to do.
constexpr std::chrono::minutes kBetweenTrims{1};
// How long readers keep a checkpoint from its end, at least.
constexpr std::chrono::seconds kBetweenCheckpoints{1};

AuditRow OwnRow(const char* operation, std::string remark) {
    AuditRow row;
    row.kind = "proxy";
    row.operation = operation;
    row.remark = std::move(remark);
    return row;
}

}  // namespace

// The functions of its owner leave orders; its thread does everything else.
class AuditLog::Writer {
  public:
    Writer(const AuditSettings& settings, const AuditLimits& limits, const AuditHooks& hooks)
        : path_(settings.file),
          limits_(limits),
          hooks_(hooks),
          outbox_(hooks.makeMessage ? std::make_unique<OutboxQueue>(hooks, limits.mostPosts) : nullptr),
          settings_(settings),
          backlog_(limits.mostWaiting),
          clock_(limits.clock, limits.clockDoubt) {
        OpenFile();
        newestAtStart_ = file_->NewestTime(clock_.Now() + kDayAhead);
        CompareClock();
        EndUnderWay();
        hasMoreToTrim_ = hooks.countsRows;
        thread_ = StartSilentThread([this] { Run(); });
    }

    ~Writer() {
        {
            const std::lock_guard lock(mutex_);
            isStopping_ = true;
        }
        wake_.notify_one();
        thread_.join();
    }

    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    void Add(RequestNumber number, AuditRow row, Written written) {
        const std::lock_guard lock(mutex_);
        if (orders_.size() < limits_.mostWaiting) {
            orders_.push_back(
                {Order::Kind::kAdd, number, Storable(std::move(row), settings_.wholeCards), std::move(written)});
        } else {
            Refuse(number, std::move(row), std::move(written));
        }
        wake_.notify_one();
    }

    void Finish(RequestNumber number, AuditRow end) {
        const std::lock_guard lock(mutex_);
        if (refused_.erase(number) == 0) {
            orders_.push_back({Order::Kind::kFinish, number, Storable(std::move(end), false), {}});
            wake_.notify_one();
        }
    }

    void SetRetention(const AuditSettings& settings) {
        const std::lock_guard lock(mutex_);
        settings_ = settings;
        hasNews_ = true;
        wake_.notify_one();
    }

    void Post(OutboxMessage message) {
        if (outbox_ != nullptr && outbox_->Post(std::move(message))) {
            Wake();
        }
    }

    void ReadMessages(std::int64_t after, std::size_t count, OutboxQueue::Reader reader) {
        if (outbox_ != nullptr && outbox_->Read(after, count, std::move(reader))) {
            Wake();
        }
    }

    void RemoveMessages(std::int64_t upTo) {
        if (outbox_ != nullptr && outbox_->Remove(upTo)) {
            Wake();
        }
    }

    void CountDroppedMessage() { outbox_ != nullptr ? outbox_->CountDropped() : static_cast<void>(0); }

    std::uint64_t WaitingMessages() const { return outbox_ != nullptr ? outbox_->WaitingCount() : 0; }
    std::uint64_t DroppedMessages() const { return outbox_ != nullptr ? outbox_->DroppedCount() : 0; }

    std::optional<std::uint64_t> RowCount() const {
        const std::int64_t count = rowCount_;
        return count >= 0 ? std::make_optional(static_cast<std::uint64_t>(count)) : std::nullopt;
    }
    std::uint64_t FileBytes() const { return fileBytes_; }

    std::optional<SystemTime> NewestTimeAtStart() const { return newestAtStart_; }
    bool IsWritable() const { return isWritable_; }
    std::uint64_t DroppedCount() const { return droppedCount_; }

  private:
    struct Order {
        enum class Kind { kAdd, kFinish, kRefuse };
        Kind kind = Kind::kAdd;
        RequestNumber number = 0;
        AuditRow row;
        Written written;
    };

    void Wake() {
        const std::lock_guard lock(mutex_);
        hasNews_ = true;
        wake_.notify_one();
    }

    // The writer has not come to what was handed over long ago: the disk hangs.
    void Refuse(RequestNumber number, AuditRow row, Written written) {
        ++droppedCount_;
        if (number != 0) {
            refused_.insert(number);
            row.result = kUnknownResult;
        }
        if (outbox_ != nullptr) {
            outbox_->Lose(row);
        }
        if (written) {
            orders_.push_back({Order::Kind::kRefuse, 0, {}, std::move(written)});
        }
    }

    void Run() {
        bool isStopping = false;
        while (!isStopping) {
            isStopping = TakeOrders();
            NoteDoubt(clock_.Look());
            NoteDroppedMessages(isStopping);
            WriteIfDue(isStopping);
            Answer();
            PassOn();
            PassMessagesOn();
            hasMoreToTrim_ = isWritable_ && !isStopping && Trim();
        }
        file_.reset();
    }

    // Waits for something to do. True when it is the last time.
    bool TakeOrders() {
        std::vector<Order> orders;
        std::unique_lock lock(mutex_);
        wake_.wait_until(lock, NextTime(), [this] { return isStopping_ || hasNews_ || !orders_.empty(); });
        hasNews_ = false;
        if (outbox_ != nullptr) {
            outbox_->TakeRequests();
        }
        orders.swap(orders_);
        const bool isStopping = isStopping_;
        lock.unlock();
        for (Order& order : orders) {
            Take(order);
        }
        return isStopping;
    }

    SteadyTime NextTime() const {
        const SteadyTime now = std::chrono::steady_clock::now();
        if (!isWritable_) {
            return nextTrial_;
        }
        const SteadyTime next = hasMoreToTrim_ ? now : now + (owesCheckpoint_ ? kBetweenCheckpoints : kBetweenTrims);
        return outbox_ != nullptr ? std::min(next, outbox_->NextTime()) : next;
    }

    void Take(Order& order) {
        switch (order.kind) {
            case Order::Kind::kAdd:
                TakeRow(order);
                break;
            case Order::Kind::kFinish:
                PassOnLater(backlog_.Finish(order.number, order.row));
                break;
            case Order::Kind::kRefuse:
                refusedAnswers_.push_back(std::move(order.written));
                break;
        }
    }

    void TakeRow(Order& order) {
        const auto record = backlog_.Add(order.number, std::move(order.row));
        if (record->isDropped) {
            ++droppedCount_;
        }
        if (order.number == 0) {
            PassOnLater(record);
        }
        if (order.written) {
            auto& answers = record->isDropped ? refusedAnswers_ : answers_;
            answers.push_back(std::move(order.written));
        }
    }

    void PassOnLater(std::shared_ptr<const AuditRecord> record) {
        if (record == nullptr) {
            return;
        }
        if (outbox_ != nullptr) {
            record->isDropped ? outbox_->Lose(record->row) : outbox_->Complete(record->row);
        }
        completed_.push_back(std::move(record));
    }

    void WriteIfDue(bool isLast) {
        if (isWritable_) {
            isWritable_ = !HasChanges(isLast) || TryTo([this] { Write(backlog_.Waiting()); });
        } else if (isLast || std::chrono::steady_clock::now() >= nextTrial_) {
            isWritable_ = TryTo([this] { Resume(); });
        }
    }

    // The clock may have been set before this process, or while none was running.
    void CompareClock() {
        const std::optional<SystemTime> newest = file_->LastTime();
        if (newest) {
            NoteDoubt(clock_.Compare(*newest));
        }
        if (file_->HasDoubtSince(clock_.Now() - clock_.DoubtTime())) {
            clock_.Doubt();
        }
    }

    void NoteDoubt(const std::optional<std::string>& reason) {
        if (reason) {
            AuditRow row = OwnRow(kDoubtOperation, *reason + ": no row is removed for its age for a while");
            row.time = clock_.Now();
            PassOnLater(backlog_.Add(0, std::move(row)));
        }
    }

    // After an error the file is opened anew: nothing is known of the state of the connection.
    template <typename Work>
    bool TryTo(const Work& work) {
        try {
            work();
            return true;
        } catch (const std::exception& error) {
            if (isWritable_) {
                PassOnLater(backlog_.Add(0, Storable(OwnRow(kFailedOperation, error.what()), false)));
            }
            file_.reset();
            nextTrial_ = std::chrono::steady_clock::now() + limits_.betweenTrials;
            return false;
        }
    }

    bool HasChanges(bool isLast) const {
        return !backlog_.Waiting().empty() ||
               (outbox_ != nullptr && (outbox_->IsDue() || (isLast && outbox_->HasRemoval())));
    }

    void Write(const AuditRecords& records) {
        file_->Write(records, outbox_ != nullptr ? outbox_->Changes() : OutboxChanges{});
        backlog_.Written();
        if (outbox_ != nullptr) {
            outbox_->Written(file_->OpenOutbox());
        }
    }

    void Resume() {
        OpenFile();
        const std::uint64_t dropped = droppedCount_;
        const AuditRecords records =
            backlog_.Resuming(OwnRow("audit-resumed", std::to_string(dropped - toldDropped_) + " rows dropped"));
        Write(records);
        toldDropped_ = dropped;
        completed_.push_back(records.back());
    }

    void OpenFile() {
        file_ = std::make_unique<AuditFile>(path_);
        const FileLock::Identity identity = file_->Identity();
        const bool isOtherFile = identity != identity_;
        backlog_.ContinueBehind(file_->LastId(), isOtherFile);
        if (outbox_ != nullptr) {
            outbox_->Open(file_->OpenOutbox(), isOtherFile);
        }
        identity_ = identity;
    }

    // The row of a request that nobody saw the end of is complete with that.
    void EndUnderWay() {
        if (outbox_ == nullptr) {
            file_->EndUnderWay();
            return;
        }
        for (const AuditRow& row : file_->UnderWay()) {
            outbox_->Complete(row);
        }
        file_->EndUnderWay(outbox_->Changes());
        outbox_->Written(file_->OpenOutbox());
    }

    void Answer() {
        for (const Written& written : std::exchange(answers_, {})) {
            written(isWritable_);
        }
        for (const Written& written : std::exchange(refusedAnswers_, {})) {
            written(false);
        }
    }

    void PassOn() {
        for (const auto& record : std::exchange(completed_, {})) {
            journal_.Add(record->row);
            if (hooks_.rowCompleted) {
                hooks_.rowCompleted(record->row);
            }
        }
    }

    void PassMessagesOn() {
        if (outbox_ != nullptr && isWritable_) {
            outbox_->Announce();
            isWritable_ = TryTo([this] { outbox_->AnswerReads(file_->OpenOutbox()); });
        }
    }

    void NoteDroppedMessages(bool isLast) {
        const bool isReportable = outbox_ != nullptr && (isLast || !hasMoreToTrim_);
        const std::optional<std::string> report = isReportable ? outbox_->DropReport(isLast) : std::nullopt;
        if (report) {
            PassOnLater(backlog_.Add(0, OwnRow("messages-dropped", *report)));
        }
    }

    bool Trim() {
        AuditBounds bounds;
        {
            const std::lock_guard lock(mutex_);
            bounds = BoundsOf(settings_, clock_);
        }
        bool hasMore = false;
        isWritable_ = TryTo([&] {
            hasMore = TrimMessages() || (hooks_.countsRows && CountRows()) || file_->Trim(bounds);
            owesCheckpoint_ = !file_->Checkpoint(owesCheckpoint_ || (hasMoreToTrim_ && !hasMore));
        });
        return hasMore;
    }

    bool TrimMessages() {
        return outbox_ != nullptr && outbox_->Trim(file_->OpenOutbox(), OldestKept(hooks_.messageTime, clock_));
    }

    // In steps, as the rest: the whole of a large file takes seconds.
    bool CountRows() {
        const bool hasMore = file_->CountRows();
        rowCount_ = file_->RowCount().value_or(rowCount_);
        fileBytes_ = static_cast<std::uint64_t>(file_->Bytes());
        return hasMore;
    }

    const std::string path_;
    const AuditLimits limits_;
    const AuditHooks hooks_;
    const std::unique_ptr<OutboxQueue> outbox_;
    // Not changed after the constructor.
    std::optional<SystemTime> newestAtStart_;

    std::mutex mutex_;
    std::condition_variable wake_;
    // These belong to the mutex.
    std::vector<Order> orders_;
    std::unordered_set<RequestNumber> refused_;
    AuditSettings settings_;
    bool hasNews_ = false;
    bool isStopping_ = false;

    std::atomic<bool> isWritable_{true};
    std::atomic<std::uint64_t> droppedCount_{0};
    // Below 0 before it is known.
    std::atomic<std::int64_t> rowCount_{-1};
    std::atomic<std::uint64_t> fileBytes_{0};

    // These belong to the thread.
    std::unique_ptr<AuditFile> file_;
    FileLock::Identity identity_{};
    AuditBacklog backlog_;
    ClockWatch clock_;
    std::vector<Written> answers_;
    std::vector<Written> refusedAnswers_;
    std::vector<std::shared_ptr<const AuditRecord>> completed_;
    SteadyTime nextTrial_{};
    std::uint64_t toldDropped_ = 0;
    bool hasMoreToTrim_ = false;
    bool owesCheckpoint_ = false;
    AuditJournal journal_;
    std::thread thread_;
};

AuditLog::AuditLog(const AuditSettings& settings, const AuditLimits& limits, const AuditHooks& hooks)
    : writer_(std::make_unique<Writer>(settings, limits, hooks)) {}

AuditLog::~AuditLog() = default;

void AuditLog::Add(RequestNumber number, AuditRow row, Written written) {
    writer_->Add(number, std::move(row), std::move(written));
}

void AuditLog::Finish(RequestNumber number, std::string result, std::int32_t errorCode,
                      std::chrono::milliseconds elapsed, std::string remark) {
    AuditRow end;
    end.result = std::move(result);
    end.errorCode = errorCode;
    end.elapsed = elapsed;
    end.remark = std::move(remark);
    writer_->Finish(number, std::move(end));
}

void AuditLog::SetRetention(const AuditSettings& settings) {
    writer_->SetRetention(settings);
}

void AuditLog::Post(OutboxMessage message) {
    writer_->Post(std::move(message));
}

void AuditLog::ReadMessages(std::int64_t after, std::size_t count, std::function<void(OutboxMessages)> reader) {
    writer_->ReadMessages(after, count, std::move(reader));
}

void AuditLog::RemoveMessages(std::int64_t upTo) {
    writer_->RemoveMessages(upTo);
}

void AuditLog::CountDroppedMessage() {
    writer_->CountDroppedMessage();
}

std::uint64_t AuditLog::WaitingMessages() const {
    return writer_->WaitingMessages();
}

std::uint64_t AuditLog::DroppedMessages() const {
    return writer_->DroppedMessages();
}

std::optional<std::uint64_t> AuditLog::RowCount() const {
    return writer_->RowCount();
}

std::uint64_t AuditLog::FileBytes() const {
    return writer_->FileBytes();
}

std::optional<std::chrono::system_clock::time_point> AuditLog::NewestTimeAtStart() const {
    return writer_->NewestTimeAtStart();
}

bool AuditLog::IsWritable() const {
    return writer_->IsWritable();
}

std::uint64_t AuditLog::DroppedCount() const {
    return writer_->DroppedCount();
}

}  // namespace MuxProxy
