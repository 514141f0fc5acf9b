#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <vector>

#include "proxy/audit/AuditLog.h"
#include "proxy/audit/AuditReader.h"

namespace MuxProxy {

// Prints rows in one format. One thread; not longer than its output.
class AuditPrinter {
  public:
    virtual ~AuditPrinter() = default;
    // Called with the first rows, also when there are none, and then with the next ones.
    virtual void Print(const std::vector<AuditEntry>& entries) = 0;
};

// The output outlives the printer. Any thread.
std::unique_ptr<AuditPrinter> MakeAuditPrinter(AuditFormat format, bool isUtc, std::ostream& output);

}  // namespace MuxProxy
