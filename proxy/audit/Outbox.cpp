#include "proxy/audit/Outbox.h"

#include <uuid/uuid.h>

#include <algorithm>
#include <array>
#include <limits>

#include "proxy/audit/AuditSchema.h"

namespace MuxProxy {
namespace {

// Of removed messages at a time, so that a request never waits long behind them.
constexpr std::int64_t kMessagesAtATime = 500;
// Of the file, for the numbers of a message and its share of pages that are not full.
constexpr std::int64_t kBytesBeside = 80;

// AUTOINCREMENT keeps the last number when its message is gone, so that none is used twice.
const char* const kTables =
    "CREATE TABLE IF NOT EXISTS outboxFile (uuid TEXT NOT NULL) STRICT;"
    "CREATE TABLE IF NOT EXISTS outbox ("
    " number INTEGER PRIMARY KEY AUTOINCREMENT,"
    " time INTEGER NOT NULL,"
    " topic TEXT NOT NULL,"
    " payload TEXT NOT NULL,"
    " correlationData BLOB NOT NULL"
    ") STRICT;";

// After an error, a message may have reached the file although SQLite could not say so.
const char* const kAdd = "INSERT INTO outbox VALUES (?, ?, ?, ?, ?) ON CONFLICT (number) DO NOTHING";

const char* const kSizeUpTo =
    "SELECT count(*), sum(length(topic) + length(payload) + length(correlationData)) FROM outbox WHERE number <= ?";

std::string NewUuid() {
    uuid_t id = {};
    uuid_generate(id);
    std::array<char, UUID_STR_LEN> text = {};
    uuid_unparse_lower(id, text.data());
    return text.data();
}

std::string TextOf(const Database& database, const char* sql) {
    Statement statement = database.Prepare(sql);
    return statement.Step() ? statement.Text(0) : "";
}

// The name of the file, by which numbers of another one are told apart.
std::string OpenTables(const Database& database) {
    if (database.Number("SELECT count(*) FROM sqlite_schema WHERE name IN ('outbox', 'outboxFile')") < 2) {
        Transaction transaction(database);
        database.Execute(kTables);
        database.Execute("INSERT INTO outboxFile VALUES ('" + NewUuid() + "')");
        transaction.Commit();
    }
    return TextOf(database, "SELECT uuid FROM outboxFile");
}

std::int64_t BytesOf(const OutboxMessage& message) {
    const std::size_t texts = message.topic.size() + message.payload.size() + message.correlationData.size();
    return static_cast<std::int64_t>(texts) + kBytesBeside;
}

}  // namespace

Outbox::Outbox(const Database& database)
    : database_(database),
      file_(OpenTables(database)),
      add_(database.Prepare(kAdd)),
      read_(database.Prepare("SELECT number, time, topic, payload, correlationData FROM outbox WHERE number > ?"
                             " ORDER BY number LIMIT ?")),
      sizeUpTo_(database.Prepare(kSizeUpTo)),
      removeUpTo_(database.Prepare("DELETE FROM outbox WHERE number <= ?")),
      front_(database.Prepare("SELECT number, time FROM outbox ORDER BY number LIMIT ?")) {
    sizeUpTo_.Bind(std::numeric_limits<std::int64_t>::max()).Step();
    count_ = static_cast<std::size_t>(sizeUpTo_.Number(0).value_or(0));
    bytes_ = sizeUpTo_.Number(1).value_or(0) + static_cast<std::int64_t>(count_) * kBytesBeside;
    sizeUpTo_.Reset();
}

void Outbox::Apply(const OutboxChanges& changes) {
    for (const OutboxMessage& message : changes.added) {
        add_.Bind(message.number, AuditTime(message.time), message.topic, message.payload,
                  Blob{message.correlationData});
        add_.Run();
        if (database_.ChangedRows() != 0) {
            ++count_;
            bytes_ += BytesOf(message);
        }
    }
    RemoveUpTo(changes.removedUpTo);
}

// SQLite itself raises the last number for inserted messages only.
void Outbox::Renumber(std::int64_t above) {
    const std::string shift = std::to_string(std::max(above, LastNumber()));
    const std::string file = NewUuid();
    Transaction transaction(database_);
    database_.Execute("UPDATE outboxFile SET uuid = '" + file + "'");
    database_.Execute("UPDATE outbox SET number = number + " + shift);
    database_.Execute("UPDATE sqlite_sequence SET seq = seq + " + shift + " WHERE name = 'outbox'");
    transaction.Commit();
    file_ = file;
}

OutboxMessages Outbox::Read(std::int64_t after, std::size_t count) {
    OutboxMessages messages;
    read_.Bind(after, static_cast<std::int64_t>(count));
    while (read_.Step()) {
        OutboxMessage& message = messages.emplace_back();
        message.number = read_.Number(0).value_or(0);
        message.id = file_ + '-' + std::to_string(message.number);
        message.time = std::chrono::system_clock::time_point(std::chrono::milliseconds(read_.Number(1).value_or(0)));
        message.topic = read_.Text(2);
        message.payload = read_.Text(3);
        message.correlationData = read_.Text(4);
    }
    read_.Reset();
    return messages;
}

std::size_t Outbox::Trim(std::optional<std::chrono::system_clock::time_point> oldest, std::size_t most) {
    const std::size_t excess = count_ > most ? count_ - most : 0;
    const std::int64_t oldestTime = oldest ? AuditTime(*oldest) : std::numeric_limits<std::int64_t>::min();
    std::int64_t last = 0;
    std::size_t count = 0;
    front_.Bind(kMessagesAtATime);
    while (front_.Step() && (count < excess || front_.Number(1) < oldestTime)) {
        last = front_.Number(0).value_or(0);
        ++count;
    }
    front_.Reset();
    return RemoveUpTo(last);
}

std::size_t Outbox::RemoveUpTo(std::int64_t number) {
    if (number == 0 || count_ == 0) {
        return 0;
    }
    sizeUpTo_.Bind(number).Step();
    const std::int64_t bytes = sizeUpTo_.Number(1).value_or(0);
    sizeUpTo_.Reset();
    removeUpTo_.Bind(number).Run();
    const std::int64_t removed = database_.ChangedRows();
    count_ -= static_cast<std::size_t>(removed);
    bytes_ = count_ == 0 ? 0 : bytes_ - bytes - removed * kBytesBeside;
    return static_cast<std::size_t>(removed);
}

std::int64_t Outbox::LastNumber() const {
    return database_.Number("SELECT seq FROM sqlite_sequence WHERE name = 'outbox'");
}

}  // namespace MuxProxy
