#include "proxy/audit/Database.h"

#include <sqlite3.h>

#include <system_error>

namespace MuxProxy {
namespace {

// Another program, such as an administrator's, may hold the file for a moment.
constexpr int kBusyMilliseconds = 1000;

// Why a file cannot be opened the system says better.
std::string ReasonOf(sqlite3* database) {
    const int reason = sqlite3_system_errno(database);
    const bool isSystems = sqlite3_errcode(database) == SQLITE_CANTOPEN && reason != 0;
    return isSystems ? std::generic_category().message(reason) : sqlite3_errmsg(database);
}

[[noreturn]] void Fail(sqlite3* database, const std::string& path) {
    throw AuditFileError(path + ": " + ReasonOf(database));
}

std::string PathOf(sqlite3* database) {
    const char* const path = sqlite3_db_filename(database, "main");
    return path == nullptr ? "" : path;
}

int FlagsFor(Database::Access access) {
    const int mode = access == Database::Access::kReadWrite ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
    return mode | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_URI;
}

// In a URI these characters have meanings of their own.
std::string UriOf(const std::string& path, Database::Access access) {
    std::string uri = "file:";
    for (const char character : path) {
        switch (character) {
            case '%':
                uri += "%25";
                break;
            case '?':
                uri += "%3f";
                break;
            case '#':
                uri += "%23";
                break;
            default:
                uri += character;
        }
    }
    return access == Database::Access::kUnchanging ? uri + "?immutable=1" : uri;
}

// Pages are allocated as they are used: SQLite would take twenty for each file in advance. It can be told so only
// before its first use in the process.
void SetUpOnce() {
    [[maybe_unused]] static const int code = sqlite3_config(SQLITE_CONFIG_PAGECACHE, nullptr, 0, 0);
}

int StorePages(void* pages, sqlite3* /*database*/, const char* /*name*/, int count) {
    *static_cast<int*>(pages) = count;
    return SQLITE_OK;
}

}  // namespace

void Statement::Finalize::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

Statement::Statement(sqlite3* database, const std::string& sql) : database_(database) {
    sqlite3_stmt* statement = nullptr;
    const int code = sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr);
    statement_.reset(statement);
    Check(code);
}

void Statement::Check(int code) const {
    if (code != SQLITE_OK) {
        Fail(database_, PathOf(database_));
    }
}

bool Statement::Step() {
    const int code = sqlite3_step(statement_.get());
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
        Fail(database_, PathOf(database_));
    }
    return code == SQLITE_ROW;
}

void Statement::Run() {
    while (Step()) {
    }
    Reset();
}

std::optional<std::int64_t> Statement::FirstNumber() {
    const std::optional<std::int64_t> number = Step() ? Number(0) : std::nullopt;
    Reset();
    return number;
}

std::optional<std::int64_t> Statement::Number(int column) const {
    const bool isNull = sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
    return isNull ? std::nullopt : std::make_optional<std::int64_t>(sqlite3_column_int64(statement_.get(), column));
}

std::string Statement::Text(int column) const {
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
    return text == nullptr
               ? ""
               : std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column)));
}

// Its code repeats the error of the last step, which was reported.
void Statement::Reset() {
    sqlite3_reset(statement_.get());
    sqlite3_clear_bindings(statement_.get());
}

void Statement::BindOne(int index, std::int64_t value) {
    Check(sqlite3_bind_int64(statement_.get(), index, value));
}

void Statement::BindOne(int index, const std::string& value) {
    Check(sqlite3_bind_text64(statement_.get(), index, value.data(), value.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
}

void Statement::BindOne(int index, const Blob& value) {
    Check(sqlite3_bind_blob64(statement_.get(), index, value.bytes.data(), value.bytes.size(), SQLITE_TRANSIENT));
}

void Database::Close::operator()(sqlite3* database) const {
    sqlite3_close_v2(database);
}

Database::Database(const std::string& path, Access access) {
    SetUpOnce();
    sqlite3* database = nullptr;
    const int code = sqlite3_open_v2(UriOf(path, access).c_str(), &database, FlagsFor(access), nullptr);
    database_.reset(database);
    if (code != SQLITE_OK) {
        Fail(database, path);
    }
    sqlite3_busy_timeout(database, kBusyMilliseconds);
    // A pool that makes preparing statements faster; the audit prepares few.
    sqlite3_db_config(database, SQLITE_DBCONFIG_LOOKASIDE, nullptr, 0, 0);
    // In place of SQLite's own checkpoints, which would make a commit longer.
    sqlite3_wal_hook(database, StorePages, logPages_.get());
}

void Database::Execute(const std::string& sql) const {
    if (sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        Fail(database_.get(), PathOf(database_.get()));
    }
}

std::int64_t Database::ChangedRows() const {
    return sqlite3_changes(database_.get());
}

bool Database::HasMoved() const {
    int moved = 0;
    sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
    return moved != 0;
}

bool Database::IsInTransaction() const {
    return sqlite3_get_autocommit(database_.get()) == 0;
}

bool Database::Checkpoint() const {
    return Checkpoint(SQLITE_CHECKPOINT_PASSIVE);
}

void Database::EmptyLog() const {
    Checkpoint(SQLITE_CHECKPOINT_TRUNCATE);
}

bool Database::Checkpoint(int mode) const {
    int pages = 0;
    int moved = 0;
    const int code = sqlite3_wal_checkpoint_v2(database_.get(), "main", mode, &pages, &moved);
    if (code != SQLITE_OK && code != SQLITE_BUSY) {
        Fail(database_.get(), PathOf(database_.get()));
    }
    return code == SQLITE_OK && moved == pages;
}

// After some errors SQLite has rolled back already.
Transaction::~Transaction() {
    if (database_.IsInTransaction()) {
        try {
            database_.Execute("ROLLBACK");
        } catch (const AuditFileError&) {
            // The connection is given up after any error.
        }
    }
}

}  // namespace MuxProxy
