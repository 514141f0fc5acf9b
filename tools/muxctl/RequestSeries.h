#pragma once

#include <vector>

#include "tools/muxctl/Console.h"
#include "tools/muxctl/Options.h"
#include "tools/muxctl/RequestStep.h"

namespace Muxctl {

// Whether a NACK or a missing answer ends a series.
enum class AfterFailure { kGoOn, kStop };

// Sends requests over one connection, each when the one before it is answered or given up, prints the answers and
// returns the worst exit status. A lost connection ends the series; what is not sent is reported. For one thread.
// Throws as the commands of requests do.
//
// In JSON a single request has its answer as it came. Of several, and of a batch, each has one line:
//
//     {"Request":"open","Gateway":1,"Lock":5,"Place":"doors.txt:3","State":"done","Answer":{...}}
//     {"Request":"open","Gateway":1,"Lock":6,"Place":"doors.txt:3","State":"unanswered","Reason":"time-out"}
//
// "Place" is of a batch only. States are "done", "refused", "unanswered" and "not sent"; those without "Answer" have
// "Reason".
int SendSeries(const std::vector<RequestStep>& steps, AfterFailure afterFailure, const Options& options,
               const Console& console);

}  // namespace Muxctl
