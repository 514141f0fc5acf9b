#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "proxy/audit/AuditFile.h"
#include "proxy/audit/Database.h"
#include "tools/client/Request.h"

namespace MuxProxy {

// A card that somebody entered at a lock by the page. A value.
struct CardEntry {
    // Its number in the list, never used again; 0 before it is there.
    std::int64_t entry = 0;
    MuxClient::LockAddress lock;
    // All its bytes, in upper-case hexadecimal.
    std::string card;
    // A name for people, and who entered it.
    std::string label;
    std::string client;
    // Kept in milliseconds.
    std::chrono::system_clock::time_point time;
};

// The cards that were entered by the page, in a SQLite file: locks cannot be asked for theirs. It does not know what
// was entered otherwise. Every function throws AuditFileError when it fails; the file is as it was before then. No
// other process may write to it; once the file was moved, only a new object helps. One thread at a time, not the
// network loop.
class CardList {
  public:
    static constexpr std::int64_t kMost = 10000;

    // Begins the file if it is missing, for its owner and group.
    explicit CardList(const std::string& file);

    // Adds it and returns its number. A card that is there already for this lock keeps its number and gets the label,
    // client and time. Fails when kMost are there.
    std::int64_t Add(const CardEntry& entry);
    // False if it was not there.
    bool Remove(const MuxClient::LockAddress& lock, const std::string& card);
    void Clear(const MuxClient::LockAddress& lock);

    // By gateway, lock and number.
    std::vector<CardEntry> List();
    // The entry with this number.
    std::optional<CardEntry> CardOf(std::int64_t entry);

  private:
    void CheckPlace() const;

    const std::string file_;
    // Closing any descriptor of the file ends SQLite's own locks, so this one outlives the connection.
    FileLock lock_;
    Database database_;
    Statement add_;
    Statement remove_;
    Statement clear_;
    Statement list_;
    Statement find_;
};

}  // namespace MuxProxy
