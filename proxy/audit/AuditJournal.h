#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
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

    AuditJournal();
    // Returns when all rows were passed on.
    ~AuditJournal();
    AuditJournal(const AuditJournal&) = delete;
    AuditJournal& operator=(const AuditJournal&) = delete;

    void Add(const AuditRow& row);

  private:
    void Run();

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<AuditRow> rows_;
    bool isStopping_ = false;
    std::thread thread_;
};

}  // namespace MuxProxy
