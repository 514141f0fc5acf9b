#include "proxy/audit/AuditReader.h"

#include <filesystem>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "proxy/audit/AuditFormats.h"
#include "proxy/audit/AuditSchema.h"
#include "proxy/audit/Database.h"

namespace MuxProxy {
namespace {

constexpr std::size_t kRowsPerRead = 1000;
constexpr std::int64_t kAlways = std::numeric_limits<std::int64_t>::max();

// A parameter that is null lets every row pass. The first two are the place behind which to begin.
const char* const kFilter =
    " FROM audit WHERE time >= ?1 AND (time > ?1 OR id > ?2) AND time < ?3"
    " AND (?4 IS NULL OR gateway = ?4) AND (?5 IS NULL OR lock = ?5) AND (?6 IS NULL OR client = ?6)"
    " AND (?7 IS NULL OR kind = ?7) AND (?8 IS NULL OR result = ?8) ";

// Without a running proxy, the files beside this one are missing, and a reader who may not write cannot make them.
std::unique_ptr<Database> OpenForReading(const std::string& path) {
    auto database = std::make_unique<Database>(path, Database::Access::kReadOnly);
    try {
        CheckAuditVersion(*database, path);
        database->Number("SELECT count(*) FROM sqlite_schema");
    } catch (const AuditFileError&) {
        if (std::filesystem::exists(path + "-wal")) {
            throw;
        }
        database = std::make_unique<Database>(path, Database::Access::kUnchanging);
        CheckAuditVersion(*database, path);
    }
    return database;
}

AuditPlace FirstPlace(const AuditQuery& query) {
    return {query.since ? AuditTime(*query.since) : std::numeric_limits<std::int64_t>::min(), 0};
}

Statement& BindFilter(Statement& statement, const AuditQuery& query, const AuditPlace& place, std::int64_t count) {
    return statement.Bind(place.time, place.id, query.until ? AuditTime(*query.until) : kAlways, query.gateway,
                          query.lock, query.client, query.kind, query.result, count);
}

// Behind which the last rows of the query begin.
AuditPlace PlaceOfLast(const Database& database, const AuditQuery& query) {
    const auto skipped = static_cast<std::int64_t>(query.limit);
    Statement statement =
        database.Prepare(std::string("SELECT time, id") + kFilter + "ORDER BY time DESC, id DESC LIMIT 1 OFFSET ?9");
    const AuditPlace first = FirstPlace(query);
    if (!BindFilter(statement, query, first, skipped).Step()) {
        return first;
    }
    return {statement.Number(0).value_or(0), statement.Number(1).value_or(0)};
}

AuditEntry EntryOf(const Statement& statement) {
    return {statement.Number(0).value_or(0), AuditRowOf(statement, 1)};
}

// Reads the next rows, and lets go of the file before they are printed.
std::vector<AuditEntry> NextEntries(Statement& statement, const AuditQuery& query, AuditPlace& place) {
    std::vector<AuditEntry> entries;
    BindFilter(statement, query, place, std::int64_t{kRowsPerRead});
    while (statement.Step()) {
        entries.push_back(EntryOf(statement));
    }
    statement.Reset();
    if (!entries.empty()) {
        place = {AuditTime(entries.back().row.time), entries.back().id};
    }
    return entries;
}

}  // namespace

int RunAudit(const AuditQuery& query, std::ostream& output) {
    const std::unique_ptr<Database> database = OpenForReading(query.file);
    AuditPlace place = query.limit != 0 ? PlaceOfLast(*database, query) : FirstPlace(query);
    Statement statement =
        database->Prepare(std::string("SELECT id, ") + kAuditColumns + kFilter + "ORDER BY time, id LIMIT ?9");
    const std::unique_ptr<AuditPrinter> printer = MakeAuditPrinter(query.format, query.isUtc, output);
    std::vector<AuditEntry> entries;
    do {
        entries = NextEntries(statement, query, place);
        printer->Print(entries);
    } while (output && entries.size() == kRowsPerRead);
    if (!output.flush()) {
        throw std::runtime_error("the output cannot be written");
    }
    return 0;
}

std::vector<AuditEntry> ReadAuditPage(const AuditQuery& query, const std::optional<AuditPlace>& before) {
    const std::unique_ptr<Database> database = OpenForReading(query.file);
    Statement statement = database->Prepare(std::string("SELECT id, ") + kAuditColumns + kFilter +
                                            " AND time <= ?10 AND (time < ?10 OR id < ?11)"
                                            " ORDER BY time DESC, id DESC LIMIT ?9");
    const AuditPlace first = FirstPlace(query);
    const AuditPlace end = before.value_or(AuditPlace{kAlways, kAlways});
    statement.Bind(first.time, first.id, query.until ? AuditTime(*query.until) : kAlways, query.gateway, query.lock,
                   query.client, query.kind, query.result, static_cast<std::int64_t>(query.limit), end.time, end.id);
    std::vector<AuditEntry> entries;
    while (statement.Step()) {
        entries.push_back(EntryOf(statement));
    }
    return entries;
}

std::vector<AuditRow> ReadBatteryEvents(const std::string& file) {
    std::error_code error;
    if (std::filesystem::file_size(file, error) == 0 || error) {
        return {};
    }
    const std::unique_ptr<Database> database = OpenForReading(file);
    Statement statement = database->Prepare(std::string("SELECT ") + kAuditColumns + " FROM audit WHERE " +
                                            kIsAboutBatteries + " ORDER BY id");
    std::vector<AuditRow> rows;
    while (statement.Step()) {
        rows.push_back(AuditRowOf(statement));
    }
    return rows;
}

}  // namespace MuxProxy
