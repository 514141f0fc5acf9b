#pragma once

#include <cstddef>
#include <ostream>
#include <string>

#include "tools/muxctl/LoadPlan.h"
#include "tools/muxctl/Style.h"

namespace Muxctl {

// Writes for people what came of a load, without the end of the last line: a line for each step that failed, one for
// each lock with cards that were not sent, and the sums. `earlier` cards were loaded before this one continued.
//
//     refused  cards.csv:7: add, gateway 1, lock 5, card 04A1B2C3 (Ann): Setup number mismatch. [error 11]
//     gateway 1, lock 6: not sent: Whitelist full. [error 3] (40 requests)
//     cards.csv: 117 cards added, 2 already listed, 1 refused, 40 not sent
void WriteLoadReport(const LoadPlan& plan, std::size_t earlier, const std::string& file, const Style& style,
                     std::ostream& output);

// The same as JSON in one line, with every step that did not succeed:
//
//     {"File":"cards.csv","Added":117,"AddedBefore":0,"AlreadyListed":2,
//      "Failed":[{"State":"refused","Request":"add","Gateway":1,"Lock":5,"Card":"04A1B2C3","Name":"Ann",
//                 "Place":"cards.csv:7","Error":11,"Message":"Setup number mismatch."}]}
//
// States are "refused", "unanswered" and "not sent".
void WriteJsonLoadReport(const LoadPlan& plan, std::size_t earlier, const std::string& file, std::ostream& output);

// 0 if all steps succeeded, 2 if one was not answered or could not be sent, otherwise 1.
int StatusOf(const LoadPlan& plan);

}  // namespace Muxctl
