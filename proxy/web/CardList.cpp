#include "proxy/web/CardList.h"

namespace MuxProxy {
namespace {

// What marks a SQLite file as such a list ("MuxC"), and the version of its table.
constexpr std::int64_t kApplication = 0x4D757843;
constexpr std::int64_t kVersion = 1;

// A page may still show an entry that was removed: its number must never mean another card.
const char* const kTable =
    "CREATE TABLE cards ("
    " entry INTEGER PRIMARY KEY AUTOINCREMENT,"
    " gateway INTEGER NOT NULL,"
    " lock INTEGER NOT NULL,"
    " card TEXT NOT NULL,"
    " label TEXT NOT NULL,"
    " client TEXT NOT NULL,"
    " time INTEGER NOT NULL,"
    " UNIQUE (gateway, lock, card)"
    ") STRICT";

// Returns no row when the list is full.
const std::string kAdd =
    "INSERT INTO cards (gateway, lock, card, label, client, time) SELECT ?1, ?2, ?3, ?4, ?5, ?6"
    " WHERE (SELECT count(*) FROM cards) < " +
    std::to_string(CardList::kMost) +
    " OR EXISTS (SELECT 1 FROM cards WHERE gateway = ?1 AND lock = ?2 AND card = ?3)"
    " ON CONFLICT (gateway, lock, card) DO UPDATE SET"
    " label = excluded.label, client = excluded.client, time = excluded.time RETURNING entry";
const char* const kOfLock = "DELETE FROM cards WHERE gateway = ? AND lock = ?";
const std::string kSelect = "SELECT entry, gateway, lock, card, label, client, time FROM cards";

void CreateTable(const Database& database) {
    Transaction transaction(database);
    database.Execute(kTable);
    database.Execute("PRAGMA application_id = " + std::to_string(kApplication));
    database.Execute("PRAGMA user_version = " + std::to_string(kVersion));
    transaction.Commit();
}

Database OpenList(const std::string& file) {
    Database database(file, Database::Access::kReadWrite);
    if (database.Number("SELECT count(*) FROM sqlite_schema") == 0) {
        CreateTable(database);
    }
    if (database.Number("PRAGMA application_id") != kApplication) {
        throw AuditFileError(file + ": is not a list of cards");
    }
    if (const std::int64_t version = database.Number("PRAGMA user_version"); version != kVersion) {
        throw AuditFileError(file + ": has version " + std::to_string(version) + " of the table, not " +
                             std::to_string(kVersion));
    }
    return database;
}

std::int64_t MillisecondsOf(SystemTime time) {
    return std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

CardEntry EntryOf(const Statement& statement) {
    const auto number = [&](int column) { return statement.Number(column).value_or(0); };
    CardEntry entry;
    entry.entry = number(0);
    entry.lock = {static_cast<std::int32_t>(number(1)), static_cast<std::int32_t>(number(2))};
    entry.card = statement.Text(3);
    entry.label = statement.Text(4);
    entry.client = statement.Text(5);
    entry.time = SystemTime(std::chrono::milliseconds(number(6)));
    return entry;
}

}  // namespace

CardList::CardList(const std::string& file)
    : file_(file),
      lock_(file),
      database_(OpenList(file)),
      add_(database_.Prepare(kAdd)),
      remove_(database_.Prepare(std::string(kOfLock) + " AND card = ?")),
      clear_(database_.Prepare(kOfLock)),
      list_(database_.Prepare(kSelect + " ORDER BY gateway, lock, entry")),
      find_(database_.Prepare(kSelect + " WHERE entry = ?")) {}

// The entry is on disk behind the last step.
std::int64_t CardList::Add(const CardEntry& entry) {
    CheckPlace();
    add_.Bind(std::int64_t{entry.lock.gateway}, std::int64_t{entry.lock.lock}, entry.card, entry.label, entry.client,
              MillisecondsOf(entry.time));
    const std::optional<std::int64_t> number = add_.Step() ? add_.Number(0) : std::nullopt;
    add_.Run();
    if (!number) {
        throw AuditFileError(file_ + ": is full: it has " + std::to_string(kMost) + " cards");
    }
    return *number;
}

bool CardList::Remove(const MuxClient::LockAddress& lock, const std::string& card) {
    CheckPlace();
    remove_.Bind(std::int64_t{lock.gateway}, std::int64_t{lock.lock}, card).Run();
    return database_.ChangedRows() > 0;
}

void CardList::Clear(const MuxClient::LockAddress& lock) {
    CheckPlace();
    clear_.Bind(std::int64_t{lock.gateway}, std::int64_t{lock.lock}).Run();
}

std::vector<CardEntry> CardList::List() {
    CheckPlace();
    list_.Reset();
    std::vector<CardEntry> entries;
    while (list_.Step()) {
        entries.push_back(EntryOf(list_));
    }
    list_.Reset();
    return entries;
}

std::optional<CardEntry> CardList::CardOf(std::int64_t entry) {
    CheckPlace();
    find_.Bind(entry);
    std::optional<CardEntry> found = find_.Step() ? std::make_optional(EntryOf(find_)) : std::nullopt;
    find_.Reset();
    return found;
}

// What is written to a file without a name is lost.
void CardList::CheckPlace() const {
    if (database_.HasMoved()) {
        throw AuditFileError(file_ + ": was moved or removed");
    }
}

}  // namespace MuxProxy
