#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
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
    // "open", "whitelist-add", "card", "pin", "revoked": what the kind knows.
    std::string operation;
    std::int32_t gateway = 0;
    std::int32_t lock = 0;
    // Hexadecimal digits; shortened by the log itself unless the file says otherwise. Never a PIN.
    std::string card;
    // Empty while it is under way; "ack", "nack", "not-allowed", "no-answer", "dropped", "ambiguous" ...
    std::string result;
    std::int32_t errorCode = 0;
    // From reception to answer.
    std::chrono::milliseconds elapsed{0};
    std::string remark;
};

// Writes the audit: a SQLite file (WAL, synchronous=FULL) and the same as structured fields in the journal. A thread of
// its own writes; several rows go in one commit. Nothing here waits but the constructor and the destructor.
//
// The functions may be called by one thread, the network loop.
class AuditLog {
  public:
    // Called on the audit's own thread: true when everything up to this row is on disk, false when it cannot be
    // written.
    using Written = std::function<void(bool)>;

    // Opens the file, creates it when it is missing, and ends what an earlier process left under way: rows of requests
    // without a result get "unknown". Throws std::runtime_error with a sentence for people when it cannot be opened.
    explicit AuditLog(const AuditSettings& settings);
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

    // Shortens cards from now on, or no longer; keeps rows as long as this says.
    void SetRetention(const AuditSettings& settings);

    // Whether the last commit succeeded. Any thread.
    bool IsWritable() const;

  private:
    class Writer;
    std::unique_ptr<Writer> writer_;
};

}  // namespace MuxProxy
