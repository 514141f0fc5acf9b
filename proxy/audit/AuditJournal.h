#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "proxy/audit/AuditLog.h"

namespace MuxProxy {

// The row as fields of the journal, "NAME=value" each: MESSAGE, PRIORITY, SYSLOG_IDENTIFIER and one MUX_PROXY_ field
// for each value that it has. Any thread.
std::vector<std::string> JournalFields(const AuditRow& row);

// Passes rows on to the journal, on a thread of its own: a journal that takes nothing must delay no door. Does nothing
// on a host without a journal. Any thread.
class AuditJournal {
  public:
    // Further rows are left out.
    static constexpr std::size_t kMostWaiting = 1000;
    // A journal that takes nothing must not hold up the end either.
    static constexpr std::chrono::seconds kLongestEnd{1};

    AuditJournal();
    // Returns when all rows were passed on, or after kLongestEnd.
    ~AuditJournal();
    AuditJournal(const AuditJournal&) = delete;
    AuditJournal& operator=(const AuditJournal&) = delete;

    void Add(const AuditRow& row);

  private:
    struct Queue;

    const std::shared_ptr<Queue> queue_;
    std::thread thread_;
};

}  // namespace MuxProxy
