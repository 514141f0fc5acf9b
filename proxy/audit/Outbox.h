#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "proxy/audit/Database.h"
#include "proxy/audit/OutboxMessage.h"

namespace MuxProxy {

// What a commit does to the outbox.
struct OutboxChanges {
    OutboxMessages added;
    // Messages up to this number go.
    std::int64_t removedUpTo = 0;
};

// Messages that wait for the broker, in a table of the audit's file. Every function throws AuditFileError when it
// fails; the object is of no use then. One thread; not longer than its database.
class Outbox {
  public:
    // Creates the tables if they are missing. They need no other version of the file: an older proxy ignores them.
    explicit Outbox(const Database& database);

    // Part of the caller's transaction. Messages that are there already stay as they are.
    void Apply(const OutboxChanges& changes);

    // Gives all messages numbers above this one and the last one, in the same order, and other IDs.
    void Renumber(std::int64_t above);

    // The oldest of those with larger numbers, in order.
    OutboxMessages Read(std::int64_t after, std::size_t count);

    // Removes some of the oldest messages beyond `most`, or of those at the front that are older than `oldest`. Returns
    // how many; 0 when there is no more to do.
    std::size_t Trim(std::optional<std::chrono::system_clock::time_point> oldest, std::size_t most);

    // The last number that was ever given, also when its message is gone.
    std::int64_t LastNumber() const;
    std::size_t Count() const { return count_; }
    // About as much of the file as the messages take, rather more than less.
    std::int64_t Bytes() const { return bytes_; }

  private:
    std::size_t RemoveUpTo(std::int64_t number);

    const Database& database_;
    std::string file_;
    std::size_t count_ = 0;
    std::int64_t bytes_ = 0;
    Statement add_;
    Statement read_;
    Statement sizeUpTo_;
    Statement removeUpTo_;
    Statement front_;
};

}  // namespace MuxProxy
