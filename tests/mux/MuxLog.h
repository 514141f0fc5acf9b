#pragma once

#include <plog/Severity.h>

#include <cstddef>
#include <string>
#include <vector>

#include "tests/support/CapturedLog.h"

namespace Testing {

// One line as it is expected: its severity and all that follows the function's signature.
struct Step {
    plog::Severity severity;
    std::string text;
};

using Steps = std::vector<Step>;

// Logged because the Mux locks its request queue and its pending requests without a time-out.
inline const Step kClientLock = {plog::warning, "Requested lock withtout timeout for mutex clientMessageQueueMutex"};
inline const Step kPendingLock = {plog::warning, "Requested lock withtout timeout for mutex pendingMessagesListMutex"};

// Both, one after the other.
Steps operator+(Steps first, const Steps& second);

// The lines of the Mux: those that its own classes log, and what the guards of its three mutexes do. What its gateways
// and sockets log is left out, because it comes from other threads.
//
// Keeps no state but where it began; beside a CapturedLog.
class MuxLog {
  public:
    explicit MuxLog(const CapturedLog& log);

    // Records a failure unless the Mux has logged exactly these lines since the construction: in this order, with
    // these severities and nothing else between them.
    void Expect(const Steps& steps) const;

  private:
    std::vector<CapturedLog::Line> Lines() const;

    const CapturedLog& log_;
    std::size_t begin_;
};

}  // namespace Testing
