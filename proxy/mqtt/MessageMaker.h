#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "proxy/audit/AuditLog.h"
#include "proxy/audit/OutboxMessage.h"
#include "proxy/configuration/MuxLocks.h"
#include "proxy/mqtt/Topics.h"
#include "proxy/requests/JsonObject.h"
#include "tools/client/Message.h"

namespace MuxProxy {

// Milliseconds since 1970 (UTC), as all messages have their times.
std::int64_t MillisecondsOf(std::chrono::system_clock::time_point time);

// What a lock said of itself, member by member.
void AddStatus(JsonObject& object, const MuxClient::LockStatus& status);

// The lock that a row is about. An event of a reader has only the low 16 bits of its address, with which a lock of the
// Mux's file is looked for.
MuxClient::LockAddress LockOfRow(const AuditRow& row, const MuxLocks& locks);

// Makes messages out of rows of the audit: each event, and how each request about a lock has ended. Any thread.
class MessageMaker {
  public:
    // `locks` are those of the Mux's own file.
    MessageMaker(Topics topics, MuxLocks locks, bool wholeCards);

    // Nothing for a row of another kind, for a request that is under way, and for one that names no lock. The row is
    // one that may be kept: it has no data of a PIN.
    std::optional<OutboxMessage> MessageOf(const AuditRow& row) const;

  private:
    std::optional<OutboxMessage> EventOf(const AuditRow& row) const;
    std::optional<OutboxMessage> ResultOf(const AuditRow& row) const;
    void AddCard(JsonObject& object, const AuditRow& row) const;

    const Topics topics_;
    const MuxLocks locks_;
    const bool wholeCards_;
};

}  // namespace MuxProxy
