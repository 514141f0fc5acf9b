#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>

#include "proxy/audit/AuditFile.h"
#include "proxy/audit/AuditLog.h"

namespace MuxProxy {

// Rows that are not in the file yet, or not as they are now. A request that is completed before its row was written
// goes there once. One thread.
class AuditBacklog {
  public:
    // How many rows may wait. Those that complete a row of the file are not counted: there are never more than
    // requests.
    explicit AuditBacklog(std::size_t most) : most_(most) {}

    // The record; it is marked as dropped when too many wait.
    std::shared_ptr<const AuditRecord> Add(RequestNumber number, AuditRow row);

    // Gives a request the result, code, time and remark of `end`, and forgets its number. Null for an unknown number.
    std::shared_ptr<const AuditRecord> Finish(RequestNumber number, const AuditRow& end);

    // In the order of their coming.
    const AuditRecords& Waiting() const { return waiting_; }

    // What waits and, behind it, a row that tells that the file can be written again. A commit that fails at its very
    // end may be in the file all the same: then this row has the place that the last one got, and replaces it.
    AuditRecords Resuming(AuditRow row);

    // All of that is in the file now.
    void Written();

    // The file has rows up to this place. In another file than before, every row gets a new place.
    void ContinueBehind(std::int64_t lastId, bool isOtherFile);

  private:
    // A place behind all that were given.
    std::int64_t NextId() { return ++lastId_; }
    void Wait(const std::shared_ptr<AuditRecord>& record);

    const std::size_t most_;
    std::int64_t lastId_ = 0;
    // The place of the row of Resuming(), until it is written or known to be missing.
    std::optional<std::int64_t> resumingId_;
    AuditRecords waiting_;
    std::unordered_map<RequestNumber, std::shared_ptr<AuditRecord>> underWay_;
};

}  // namespace MuxProxy
