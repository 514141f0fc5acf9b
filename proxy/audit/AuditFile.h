#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "proxy/audit/AuditLog.h"
#include "proxy/audit/Database.h"
#include "proxy/audit/Outbox.h"

namespace MuxProxy {

// A row on its way to the file.
struct AuditRecord {
    AuditRow row;
    // Its place in the file.
    std::int64_t id = 0;
    bool isWaiting = false;
    bool isDropped = false;
};

using AuditRecords = std::vector<std::shared_ptr<AuditRecord>>;

using SystemTime = std::chrono::system_clock::time_point;

// How far the times of rows may be ahead of the clock.
constexpr std::chrono::hours kDayAhead{24};

// What may stay in the file.
struct AuditBounds {
    SystemTime now;
    // Nothing while the clock is in doubt: no row is too old then.
    std::optional<SystemTime> oldest;
    std::int64_t bytes;
};

// Keeps a file for this process alone, as long as it lives. Processes that read are not hindered.
class FileLock {
  public:
    using Identity = std::pair<dev_t, ino_t>;

    // Creates the file if it is missing, for its owner and group. Throws AuditFileError.
    explicit FileLock(const std::string& path);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    // The same for the same file, whatever its name.
    Identity File() const;

  private:
    int descriptor_;
};

// The audit's file, open for writing. Every function throws AuditFileError when it fails; the object is of no use then,
// and the file is as it was after the last success. One thread at a time.
class AuditFile {
  public:
    explicit AuditFile(const std::string& path);

    // Creates its tables if they are missing. Without a first call, changes of the outbox are ignored.
    Outbox& OpenOutbox();

    // Requests without a result, as EndUnderWay() leaves them.
    std::vector<AuditRow> UnderWay() const;
    // Gives requests without a result the result "unknown".
    void EndUnderWay(const OutboxChanges& changes = {});

    // Inserts the records that are not in the file and completes the others; done when they are on disk.
    void Write(const AuditRecords& records, const OutboxChanges& changes = {});

    // The last place that is taken.
    std::int64_t LastId() const;

    // The time of the row there; nothing in an empty file.
    std::optional<SystemTime> LastTime() const;

    // The latest time of a row, whatever its place; later ones than `last` do not count.
    std::optional<SystemTime> NewestTime(SystemTime last) const;

    // Whether there is a row about doubts in the clock from this time on.
    bool HasDoubtSince(SystemTime time) const;

    // Removes some of the rows that are too many, and returns free pages to the file system. True when there is more to
    // do. The file becomes smaller with the next checkpoint.
    bool Trim(const AuditBounds& bounds);

    // Counts some more of the rows that were not counted. True when there are others: rows that are removed meanwhile
    // would be counted wrongly.
    bool CountRows();
    // Nothing until CountRows() has come to the end once.
    std::optional<std::int64_t> RowCount() const { return rowCount_; }
    std::int64_t Bytes() const { return database_.Number("PRAGMA page_count") * pageSize_; }

    // Moves rows from the write-ahead log into the file when they are many, or when `always`. False when it has to be
    // tried again: readers had the file as it was before.
    bool Checkpoint(bool always) const;

    FileLock::Identity Identity() const { return lock_.File(); }

  private:
    void CheckPlace() const;
    // True when they changed something.
    bool RemoveOlder(SystemTime oldest, SystemTime now);
    bool RemoveBeyond(std::int64_t pages, std::int64_t pagesOfMessages);
    bool ReturnPages(std::int64_t spare);
    std::int64_t FreePages() const;
    // How many rows the last statement has removed.
    std::int64_t RemovedRows();
    void Apply(const OutboxChanges& changes);

    std::string path_;
    // Closing any descriptor of the file ends SQLite's own locks, so this one outlives the connection.
    FileLock lock_;
    Database database_;
    std::int64_t pageSize_;
    Statement write_;
    Statement older_;
    Statement removeOlder_;
    Statement tooManyOthers_;
    Statement removeOthers_;
    Statement removeFirst_;
    // Made when it is first used.
    std::optional<Statement> countBehind_;
    // Rows up to this place.
    std::int64_t countedRows_ = 0;
    std::int64_t countedUpTo_ = 0;
    std::optional<std::int64_t> rowCount_;
    std::unique_ptr<Outbox> outbox_;
};

}  // namespace MuxProxy
