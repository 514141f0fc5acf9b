#pragma once

#include <ostream>
#include <string>

#include "tools/muxctl/ConfigurationCheck.h"
#include "tools/muxctl/Style.h"

namespace Muxctl {

// Writes a report for people: a line for each finding and one for the whole, without the end of the last one. Whether
// the stream took all of it is to be asked of the stream.
//
//     mux.json: warning: Gateways[0].Port is 0, which is not a TCP port
//     mux.json: usable, with 1 warning: 1 gateway, 2 locks
void WriteReport(const ConfigurationReport& report, const std::string& file, const Style& style, std::ostream& output);

// The same as JSON in one line:
//
//     {"File":"mux.json","Usable":true,"Gateways":1,"Locks":2,
//      "Findings":[{"Level":"warning","Where":"Gateways[0].Port","Text":"is 0, which is not a TCP port"}]}
void WriteJsonReport(const ConfigurationReport& report, const std::string& file, std::ostream& output);

}  // namespace Muxctl
