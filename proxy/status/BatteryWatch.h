#pragma once

#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "proxy/audit/AuditLog.h"
#include "tools/client/Message.h"
#include "tools/client/Request.h"

namespace MuxProxy {

// Turns what the status of locks says of their batteries into one event when a warning or an alarm begins, and one when
// both are over. One thread.
class BatteryWatch {
  public:
    // `earlier` are the rows of such events from before the program was started, oldest first.
    explicit BatteryWatch(const std::vector<AuditRow>& earlier = {});

    // The row of the event, if this status makes one.
    std::optional<AuditRow> StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status);

  private:
    std::map<std::pair<std::int32_t, std::int32_t>, bool> isLow_;
};

}  // namespace MuxProxy
