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

    // Gives requests without a result the result "unknown".
    void EndUnderWay();

    // Inserts the records that are not in the file and completes the others; done when they are on disk.
    void Write(const AuditRecords& records);

    // The last place that is taken.
    std::int64_t LastId() const;

    // The time of the row there; nothing in an empty file.
    std::optional<SystemTime> LastTime() const;

    // Whether there is a row about doubts in the clock from this time on.
    bool HasDoubtSince(SystemTime time) const;

    // Removes some of the rows that are too many, and returns free pages to the file system. True when there is more to
    // do. The file becomes smaller with the next checkpoint.
    bool Trim(const AuditBounds& bounds);

    // Moves rows from the write-ahead log into the file when they are many, or when `always`.
    void Checkpoint(bool always) const;

    FileLock::Identity Identity() const { return lock_.File(); }

  private:
    void CheckPlace() const;
    // True when they changed something.
    bool RemoveOlder(SystemTime oldest, SystemTime now);
    bool RemoveBeyond(std::int64_t pages);
    bool ReturnPages(std::int64_t spare);
    std::int64_t FreePages() const;

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
};

}  // namespace MuxProxy
