#pragma once

#include <string>
#include <vector>

#include "tools/gateway-simulator/Fault.h"
#include "tools/gateway-simulator/Frame.h"
#include "tools/gateway-simulator/ReceivedFrame.h"

namespace Simulator {

// A received frame in one line: "-> OPEN_LOCK lock 5 seq 42 ref 3 payload 00000000", or why it was rejected.
std::string DescribeReceived(const ReceivedFrame& received);

// An answer and the faults it goes out with, in one line: "<- NO_ROUTE (8) lock 256 ref 1 [delay 500]".
std::string DescribeAnswer(const Frame& answer, const std::vector<Fault>& faults);

// An event in one line: "<- card event 14 lock 5 data 04A1B2C3".
std::string DescribeEvent(const Frame& event);

}  // namespace Simulator
