#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "proxy/audit/OutboxMessage.h"
#include "proxy/configuration/Configuration.h"

namespace MuxProxy {

using RequestNumber = std::uint64_t;

// One row of the audit. A value.
struct AuditRow {
    // "request", "event", "connection" (a client came, was turned away, left), "mux" (its connection came or went),
    // "proxy" (start, stop, configuration read).
    std::string kind;
    std::chrono::system_clock::time_point time = std::chrono::system_clock::now();
    // Name and address of the client; empty for an event and the Mux.
    std::string client;
    std::string address;
    // "open", "whitelist-add", "card", "pin", "connected": what the kind knows.
    std::string operation;
    // Every number is a valid ID, so rows of other kinds have none.
    std::optional<std::int32_t> gateway;
    std::optional<std::int32_t> lock;
    // Hexadecimal digits, shortened by the log itself unless the settings say otherwise. Removed from a row with the
    // operation "pin".
    std::string card;
    // Empty while it is under way; "ack", "nack", "not-allowed", "no-answer", "dropped", "ambiguous" ...
    std::string result;
    std::int32_t errorCode = 0;
    // From reception to answer.
    std::chrono::milliseconds elapsed{0};
    std::string remark;
};

struct AuditLimits {
    // Rows that may wait for the disk. Further ones are dropped and counted.
    std::size_t mostWaiting = 10000;
    // How often a file that cannot be written is tried again.
    std::chrono::milliseconds betweenTrials{1000};
    // How long no row is removed for its age after the clock was set.
    std::chrono::seconds clockDoubt = std::chrono::hours(24 * 7);
    std::function<std::chrono::system_clock::time_point()> clock = &std::chrono::system_clock::now;
    // Messages of Post() that may wait for the disk. Further ones are dropped and counted.
    std::size_t mostPosts = 10000;
};

// What others get from the audit. Unless it says otherwise, all are called on the audit's own thread until the end of
// the log's destructor, hold up its rows, and must not throw.
struct AuditHooks {
    // The message for the broker that comes with a row, if any. Called once for each row that is complete, with the row
    // as it is written, but not for "audit-resumed". The message is in the file if and only if the completed row is.
    // Also called, by any thread, for a row for which there is no room, whose message is then counted as dropped.
    // Without this function there is no outbox.
    std::function<std::optional<OutboxMessage>(const AuditRow&)> makeMessage = {};
    // Messages were added to the outbox and can be read.
    std::function<void()> messagesAdded = {};
    // How long messages may wait for the broker, and how many, before the oldest are dropped.
    std::chrono::hours messageTime = std::chrono::hours(24 * 7);
    std::size_t mostMessages = 100000;
    // Each row that is complete, as the journal gets it: also when the disk is full.
    std::function<void(const AuditRow&)> rowCompleted = {};
    // Whether RowCount() and FileBytes() are kept up to date.
    bool countsRows = false;
};

// Writes the audit: a SQLite file (WAL, synchronous=FULL) and the same as structured fields in the journal. A thread of
// its own writes; several rows go in one commit. Nothing here waits but the constructor and the destructor.
//
// While the file cannot be written, rows wait in memory, and are written when it can be again. A row ("proxy",
// "audit-failed") has the reason, and another one ("audit-resumed") counts the rows for which there was no room.
//
// With a function that makes messages, the same file has an outbox: messages that wait for the broker. Those of rows
// are written in the same commit. While the file cannot be written they wait with their rows.
//
// The functions may be called by one thread, the network loop.
class AuditLog {
  public:
    // Called on the audit's own thread: true when everything up to this row is on disk, false when it cannot be
    // written. Must not throw.
    using Written = std::function<void(bool)>;

    // Opens the file, creates it when it is missing, and ends what an earlier process left under way: rows of requests
    // without a result get "unknown". Throws std::runtime_error with a sentence for people when it cannot be opened, is
    // another program's or is in use by another process.
    explicit AuditLog(const AuditSettings& settings, const AuditLimits& limits = {}, const AuditHooks& hooks = {});
    // Writes what was handed over, then closes the file.
    ~AuditLog();
    AuditLog(const AuditLog&) = delete;
    AuditLog& operator=(const AuditLog&) = delete;

    // A row that is complete, or the first part of a request's. `number` is 0 for a row that never changes, otherwise
    // the number by which Finish() names it.
    void Add(RequestNumber number, AuditRow row, Written written = {});

    // Completes a request's row.
    void Finish(RequestNumber number, std::string result, std::int32_t errorCode, std::chrono::milliseconds elapsed,
                std::string remark = {});

    // Shortens cards from now on, or no longer; keeps rows as long as this says. The path of the file does not change.
    void SetRetention(const AuditSettings& settings);

    // A message that comes with no row; its number and ID are not used. Written with the next commit, which is not
    // waited for. Nothing without an outbox, as the next two.
    void Post(OutboxMessage message);

    // Reads the oldest messages with numbers above `after`, at most `count`: of what was handed over before this call,
    // and is not removed. `reader` is called on the audit's own thread: at once if there are none, but while the file
    // cannot be read it waits until it can, and it is not called after the end. Must not throw.
    void ReadMessages(std::int64_t after, std::size_t count, std::function<void(OutboxMessages)> reader);

    // The broker has the messages up to this number. They are gone from the file with the next commit, at the latest
    // after a second; after a crash they may be read once more.
    void RemoveMessages(std::int64_t upTo);

    // A message that is removed without having reached the broker. Any thread.
    void CountDroppedMessage();

    // How many messages wait for the broker or the disk, and how many were dropped since the start. Any thread.
    std::uint64_t WaitingMessages() const;
    std::uint64_t DroppedMessages() const;

    // Rows in the file, and its size with what is free in it. Nothing and 0 until they are known, which takes a while
    // in a large file. Any thread.
    std::optional<std::uint64_t> RowCount() const;
    std::uint64_t FileBytes() const;

    // The latest time of a row that an earlier process wrote. Times more than a day ahead of the clock do not count, so
    // that a clock that was once far ahead has no effect for ever. Any thread.
    std::optional<std::chrono::system_clock::time_point> NewestTimeAtStart() const;

    // Whether the last commit succeeded. Any thread.
    bool IsWritable() const;

    // How many rows were dropped since the start because too many waited for the disk. Any thread.
    std::uint64_t DroppedCount() const;

  private:
    class Writer;
    std::unique_ptr<Writer> writer_;
};

}  // namespace MuxProxy
