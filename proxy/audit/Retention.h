#pragma once

#include <chrono>
#include <optional>

#include "proxy/audit/AuditFile.h"
#include "proxy/audit/ClockWatch.h"
#include "proxy/configuration/Configuration.h"

namespace MuxProxy {

// How long rows and messages are kept, by the clock that was read last. Any thread.

// The time from which on nothing is too old; nothing while the clock is in doubt. More than 36,500 days count as these.
std::optional<SystemTime> OldestKept(std::chrono::hours time, const ClockWatch& clock);

// What may stay in the file.
AuditBounds BoundsOf(const AuditSettings& settings, const ClockWatch& clock);

}  // namespace MuxProxy
