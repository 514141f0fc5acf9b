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
#include "proxy/audit/SilentThread.h"

namespace MuxProxy {
namespace {

using SteadyTime = std::chrono::steady_clock::time_point;

constexpr std::chrono::hours kDay{24};
// More cannot be subtracted from a time.
constexpr std::uint32_t kMostDays = 36500;
constexpr std::int64_t kMebibyte = 1048576;
// How often rows that became too old are looked for while there is nothing else to do.
constexpr std::chrono::minutes kBetweenTrims{1};

AuditBounds BoundsOf(const AuditSettings& settings, const ClockWatch& clock) {
    const SystemTime oldest = clock.Now() - std::min(settings.days, kMostDays) * kDay;
    return {clock.Now(), clock.IsInDoubt() ? std::nullopt : std::make_optional(oldest), settings.mebibytes * kMebibyte};
}

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
    Writer(const AuditSettings& settings, const AuditLimits& limits)
        : path_(settings.file),
          limits_(limits),
          settings_(settings),
          backlog_(limits.mostWaiting),
          clock_(limits.clock, limits.clockDoubt) {
        OpenFile();
        CompareClock();
        file_->EndUnderWay();
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
            Refuse(number, std::move(written));
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
        hasNewSettings_ = true;
        wake_.notify_one();
    }

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

    // The writer has not come to what was handed over long ago: the disk hangs.
    void Refuse(RequestNumber number, Written written) {
        ++droppedCount_;
        if (number != 0) {
            refused_.insert(number);
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
            WriteIfDue(isStopping);
            Answer();
            PassOn();
            hasMoreToTrim_ = isWritable_ && !isStopping && Trim();
        }
        file_.reset();
    }

    // Waits for something to do. True when it is the last time.
    bool TakeOrders() {
        std::vector<Order> orders;
        std::unique_lock lock(mutex_);
        wake_.wait_until(lock, NextTime(), [this] { return isStopping_ || hasNewSettings_ || !orders_.empty(); });
        hasNewSettings_ = false;
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
        return hasMoreToTrim_ ? now : isWritable_ ? now + kBetweenTrims : nextTrial_;
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
        if (record) {
            completed_.push_back(std::move(record));
        }
    }

    void WriteIfDue(bool isLast) {
        if (isWritable_) {
            isWritable_ = backlog_.Waiting().empty() || TryTo([this] { Write(); });
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

    void Write() {
        file_->Write(backlog_.Waiting());
        backlog_.Written();
    }

    void Resume() {
        OpenFile();
        const std::uint64_t dropped = droppedCount_;
        const auto record = std::make_shared<AuditRecord>();
        record->id = backlog_.NextId();
        record->row = OwnRow("audit-resumed", std::to_string(dropped - toldDropped_) + " rows dropped");
        AuditRecords records = backlog_.Waiting();
        records.push_back(record);
        file_->Write(records);
        backlog_.Written();
        toldDropped_ = dropped;
        completed_.push_back(record);
    }

    void OpenFile() {
        file_ = std::make_unique<AuditFile>(path_);
        const FileLock::Identity identity = file_->Identity();
        backlog_.ContinueBehind(file_->LastId(), identity != identity_);
        identity_ = identity;
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
            hasMore = file_->Trim(bounds);
            file_->Checkpoint(hasMoreToTrim_ && !hasMore);
        });
        return hasMore;
    }

    const std::string path_;
    const AuditLimits limits_;

    std::mutex mutex_;
    std::condition_variable wake_;
    // These belong to the mutex.
    std::vector<Order> orders_;
    std::unordered_set<RequestNumber> refused_;
    AuditSettings settings_;
    bool hasNewSettings_ = false;
    bool isStopping_ = false;

    std::atomic<bool> isWritable_{true};
    std::atomic<std::uint64_t> droppedCount_{0};

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
    AuditJournal journal_;
    std::thread thread_;
};

AuditLog::AuditLog(const AuditSettings& settings, const AuditLimits& limits)
    : writer_(std::make_unique<Writer>(settings, limits)) {}

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

bool AuditLog::IsWritable() const {
    return writer_->IsWritable();
}

std::uint64_t AuditLog::DroppedCount() const {
    return writer_->DroppedCount();
}

}  // namespace MuxProxy
