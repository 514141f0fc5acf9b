#include "proxy/audit/AuditFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "proxy/audit/AuditSchema.h"

namespace MuxProxy {
namespace {

constexpr int kMostLogPages = 1000;
// Of removed rows and freed pages at a time, so that a request never waits long behind them.
constexpr std::int64_t kRowsAtATime = 500;
constexpr std::int64_t kPagesAtATime = 500;
constexpr std::int64_t kRowsCountedAtATime = 5000;
// Free pages that stay in the file, so that new rows need not enlarge it again.
constexpr std::int64_t kSparePages = 256;
constexpr mode_t kFileMode = 0640;
// Of rows about anything but doors, how many of the newest stay beside those about doors. Fewer in a small file, so
// that the largest rows take no more than a quarter of it.
constexpr std::int64_t kMostOthersKept = 100000;
constexpr std::int64_t kBytesPerOtherKept = 2000;

// What cannot have moved a lock or changed a whitelist. Anyone with a certificate can cause any number of such rows.
const std::string kOthers =
    "(kind <> 'request' OR operation IN ('', 'status', 'access-denied', 'event-access-denied')"
    " OR errorCode IN (-1, -2, -3, -5, -6, -7, -8) OR result = 'dropped')";
const std::string kOthersIndex = "CREATE INDEX auditOthers ON audit (id) WHERE " + kOthers;

const char* const kUnderWay = " WHERE kind = 'request' AND result = ''";

const std::string kDoubts = std::string("operation = '") + kDoubtOperation + "'";

// The partial index finds what an earlier process left under way without reading the whole file.
const char* const kTables =
    "CREATE TABLE audit ("
    " id INTEGER PRIMARY KEY,"
    " time INTEGER NOT NULL,"
    " kind TEXT NOT NULL,"
    " client TEXT NOT NULL,"
    " address TEXT NOT NULL,"
    " operation TEXT NOT NULL,"
    " gateway INTEGER,"
    " lock INTEGER,"
    " card TEXT NOT NULL,"
    " result TEXT NOT NULL,"
    " errorCode INTEGER NOT NULL,"
    " milliseconds INTEGER NOT NULL,"
    " remark TEXT NOT NULL"
    ") STRICT;"
    "CREATE INDEX auditTime ON audit (time);"
    "CREATE INDEX auditUnderWay ON audit (id) WHERE kind = 'request' AND result = '';";

// Rows are in the order of their coming. Times jump when the clock is set: rows that a wrong clock dated back stay
// until their turn comes, and one that was dated ahead keeps none behind it from going.
const char* const kRemoveOlder =
    "WITH first AS (SELECT id, time FROM audit ORDER BY id LIMIT ?3),"
    " young AS (SELECT coalesce(min(id), 9223372036854775807) AS id FROM first WHERE time BETWEEN ?1 AND ?2)"
    "DELETE FROM audit WHERE id <="
    " (SELECT max(id) FROM first WHERE time < ?1 AND id < (SELECT id FROM young))";

// A row that is there already gets what may have changed in it: the end of a request, or after an error all of a row
// that reached the file although SQLite could not say so.
const char* const kWrite =
    "INSERT INTO audit VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT (id) DO UPDATE SET"
    " result = excluded.result, errorCode = excluded.errorCode, milliseconds = excluded.milliseconds,"
    " remark = excluded.remark";

std::optional<SystemTime> TimeIn(Statement& statement) {
    const std::optional<std::int64_t> time = statement.FirstNumber();
    return time ? std::make_optional(SystemTime(std::chrono::milliseconds(*time))) : std::nullopt;
}

bool IsEmpty(const Database& database) {
    return database.Number("SELECT count(*) FROM sqlite_schema") == 0;
}

// Some file systems refuse it, such as those of a network.
void ChooseLog(const Database& database, const std::string& path) {
    Statement statement = database.Prepare("PRAGMA journal_mode = WAL");
    if (!statement.Step() || statement.Text(0) != "wal") {
        throw AuditFileError(path + ": this file system has no write-ahead log");
    }
}

void CreateTables(const Database& database) {
    Transaction transaction(database);
    database.Execute(kTables);
    database.Execute(kOthersIndex);
    database.Execute("CREATE INDEX auditDoubts ON audit (time) WHERE " + kDoubts);
    database.Execute("PRAGMA application_id = " + std::to_string(kAuditApplication));
    database.Execute("PRAGMA user_version = " + std::to_string(kAuditVersion));
    transaction.Commit();
}

// The index of an older version has another condition. SQLite would not use it and read the whole file for each row.
void UpdateOthersIndex(const Database& database) {
    Statement index = database.Prepare("SELECT sql FROM sqlite_schema WHERE name = 'auditOthers'");
    if (index.Step() && index.Text(0) == kOthersIndex) {
        return;
    }
    index.Reset();
    Transaction transaction(database);
    database.Execute("DROP INDEX IF EXISTS auditOthers");
    database.Execute(kOthersIndex);
    transaction.Commit();
}

Database OpenForWriting(const std::string& path) {
    Database database(path, Database::Access::kReadWrite);
    const bool isNew = IsEmpty(database);
    if (isNew) {
        // Only possible before anything is written.
        database.Execute("PRAGMA auto_vacuum = INCREMENTAL");
    } else {
        CheckAuditVersion(database, path);
    }
    ChooseLog(database, path);
    database.Execute("PRAGMA synchronous = FULL");
    database.Execute("PRAGMA cache_size = -512");
    database.Execute("PRAGMA journal_size_limit = 4194304");
    if (isNew) {
        CreateTables(database);
    }
    UpdateOthersIndex(database);
    database.Execute(std::string("CREATE INDEX IF NOT EXISTS auditBatteries ON audit (id) WHERE ") + kIsAboutBatteries);
    return database;
}

}  // namespace

FileLock::FileLock(const std::string& path) : descriptor_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kFileMode)) {
    if (descriptor_ < 0) {
        throw AuditFileError(path + ": " + std::generic_category().message(errno));
    }
    if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
        close(descriptor_);
        throw AuditFileError(path + ": is in use by another process");
    }
}

FileLock::~FileLock() {
    close(descriptor_);
}

FileLock::Identity FileLock::File() const {
    struct stat status = {};
    fstat(descriptor_, &status);
    return {status.st_dev, status.st_ino};
}

AuditFile::AuditFile(const std::string& path)
    : path_(path),
      lock_(path),
      database_(OpenForWriting(path)),
      pageSize_(database_.Number("PRAGMA page_size")),
      write_(database_.Prepare(kWrite)),
      older_(database_.Prepare("SELECT 1 FROM audit WHERE time < ? LIMIT 1")),
      removeOlder_(database_.Prepare(kRemoveOlder)),
      tooManyOthers_(database_.Prepare("SELECT id FROM audit WHERE " + kOthers + " ORDER BY id LIMIT 1 OFFSET ?")),
      removeOthers_(database_.Prepare("DELETE FROM audit WHERE id IN (SELECT id FROM audit WHERE " + kOthers +
                                      " ORDER BY id LIMIT ?)")),
      removeFirst_(database_.Prepare("DELETE FROM audit WHERE id IN (SELECT id FROM audit ORDER BY id LIMIT ?)")) {}

Outbox& AuditFile::OpenOutbox() {
    if (outbox_ == nullptr) {
        outbox_ = std::make_unique<Outbox>(database_);
    }
    return *outbox_;
}

void AuditFile::Apply(const OutboxChanges& changes) {
    if (outbox_ != nullptr) {
        outbox_->Apply(changes);
    }
}

std::vector<AuditRow> AuditFile::UnderWay() const {
    std::vector<AuditRow> rows;
    Statement statement = database_.Prepare(std::string("SELECT ") + kAuditColumns + " FROM audit" + kUnderWay);
    while (statement.Step()) {
        rows.push_back(AuditRowOf(statement));
        rows.back().result = kUnknownResult;
    }
    return rows;
}

void AuditFile::EndUnderWay(const OutboxChanges& changes) {
    Transaction transaction(database_);
    database_.Execute(std::string("UPDATE audit SET result = '") + kUnknownResult + "'" + kUnderWay);
    Apply(changes);
    transaction.Commit();
}

// SQLite would go on writing into a file that nobody finds any more. The write-ahead log keeps the old name: what is in
// it belongs to the file that was moved, and would spoil one that is put in its place.
void AuditFile::CheckPlace() const {
    if (database_.HasMoved()) {
        database_.EmptyLog();
        throw AuditFileError(path_ + ": was moved or removed");
    }
}

void AuditFile::Write(const AuditRecords& records, const OutboxChanges& changes) {
    CheckPlace();
    Transaction transaction(database_);
    for (const auto& record : records) {
        const AuditRow& row = record->row;
        write_.Bind(record->id, AuditTime(row.time), row.kind, row.client, row.address, row.operation, row.gateway,
                    row.lock, row.card, row.result, std::int64_t{row.errorCode}, std::int64_t{row.elapsed.count()},
                    row.remark);
        write_.Run();
    }
    Apply(changes);
    transaction.Commit();
}

std::int64_t AuditFile::LastId() const {
    return database_.Number("SELECT max(id) FROM audit");
}

std::optional<SystemTime> AuditFile::LastTime() const {
    Statement statement = database_.Prepare("SELECT time FROM audit ORDER BY id DESC LIMIT 1");
    return TimeIn(statement);
}

std::optional<SystemTime> AuditFile::NewestTime(SystemTime last) const {
    Statement statement = database_.Prepare("SELECT time FROM audit WHERE time <= ? ORDER BY time DESC LIMIT 1");
    return TimeIn(statement.Bind(AuditTime(last)));
}

bool AuditFile::HasDoubtSince(SystemTime time) const {
    Statement statement = database_.Prepare("SELECT 1 FROM audit WHERE " + kDoubts + " AND time >= ? LIMIT 1");
    return statement.Bind(AuditTime(time)).FirstNumber().has_value();
}

// A broker that is away for days must not cost rows about doors: what waits for it has bounds of its own, and the file
// may be so much larger.
bool AuditFile::Trim(const AuditBounds& bounds) {
    const std::int64_t most = bounds.bytes / pageSize_;
    const std::int64_t spare = std::min(kSparePages, most / 8);
    const std::int64_t ofMessages = outbox_ != nullptr ? outbox_->Bytes() / pageSize_ : 0;
    return (bounds.oldest && RemoveOlder(*bounds.oldest, bounds.now)) || RemoveBeyond(most - spare, ofMessages) ||
           ReturnPages(spare);
}

bool AuditFile::RemoveOlder(SystemTime oldest, SystemTime now) {
    const std::int64_t time = AuditTime(oldest);
    if (!older_.Bind(time).FirstNumber()) {
        return false;
    }
    removeOlder_.Bind(time, AuditTime(now + kDayAhead), kRowsAtATime).Run();
    return RemovedRows() > 0;
}

bool AuditFile::RemoveBeyond(std::int64_t pages, std::int64_t pagesOfMessages) {
    if (database_.Number("PRAGMA page_count") - FreePages() <= pages + pagesOfMessages) {
        return false;
    }
    const std::int64_t kept = std::min(kMostOthersKept, pages * pageSize_ / kBytesPerOtherKept);
    const bool areTooMany = tooManyOthers_.Bind(kept).FirstNumber().has_value();
    (areTooMany ? removeOthers_ : removeFirst_).Bind(kRowsAtATime).Run();
    return RemovedRows() > 0;
}

bool AuditFile::ReturnPages(std::int64_t spare) {
    const std::int64_t free = FreePages();
    if (free <= spare) {
        return false;
    }
    database_.Execute("PRAGMA incremental_vacuum(" + std::to_string(std::min(kPagesAtATime, free - spare)) + ")");
    return FreePages() < free;
}

std::int64_t AuditFile::RemovedRows() {
    const std::int64_t removed = database_.ChangedRows();
    if (rowCount_) {
        countedRows_ -= removed;
        rowCount_ = countedRows_;
    }
    return removed;
}

bool AuditFile::CountRows() {
    if (!countBehind_) {
        countBehind_ =
            database_.Prepare("SELECT count(*), max(id) FROM (SELECT id FROM audit WHERE id > ? ORDER BY id LIMIT ?)");
    }
    countBehind_->Bind(countedUpTo_, kRowsCountedAtATime).Step();
    const std::int64_t counted = countBehind_->Number(0).value_or(0);
    countedUpTo_ = countBehind_->Number(1).value_or(countedUpTo_);
    countBehind_->Reset();
    countedRows_ += counted;
    const bool hasMore = counted == kRowsCountedAtATime;
    if (!hasMore) {
        rowCount_ = countedRows_;
    }
    return hasMore;
}

std::int64_t AuditFile::FreePages() const {
    return database_.Number("PRAGMA freelist_count");
}

bool AuditFile::Checkpoint(bool always) const {
    return !(always || database_.LogPages() >= kMostLogPages) || database_.Checkpoint();
}

}  // namespace MuxProxy
