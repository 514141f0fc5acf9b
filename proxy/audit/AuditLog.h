#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

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
};

// Writes the audit: a SQLite file (WAL, synchronous=FULL) and the same as structured fields in the journal. A thread of
// its own writes; several rows go in one commit. Nothing here waits but the constructor and the destructor.
//
// While the file cannot be written, rows wait in memory, and are written when it can be again. A row ("proxy",
// "audit-failed") has the reason, and another one ("audit-resumed") counts the rows for which there was no room.
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
    explicit AuditLog(const AuditSettings& settings, const AuditLimits& limits = {});
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

    // Shortens cards from now on, or no longer; keeps rows as long as this says. The file stays the same.
    void SetRetention(const AuditSettings& settings);

    // Whether the last commit succeeded. Any thread.
    bool IsWritable() const;

    // How many rows were dropped since the start because too many waited for the disk. Any thread.
    std::uint64_t DroppedCount() const;

  private:
    class Writer;
    std::unique_ptr<Writer> writer_;
};

}  // namespace MuxProxy
