#pragma once

#include <ostream>
#include <string>

#include "tools/muxctl/ConfigurationCheck.h"
#include "tools/muxctl/Style.h"

namespace Muxctl {

// Whether lines begin with their priority, as the systemd journal takes it: <3> for an error, <4> for a warning.
enum class Priorities { kNone, kJournal };

// Writes a line for each finding:
//
//     mux.json: warning: Gateways[0].Port is 0; the Mux leaves this gateway out, and its doors do not work
void WriteFindings(const Findings& findings, const std::string& file, const Style& style, Priorities priorities,
                   std::ostream& output);

// Writes a report for people: its findings and a line for the whole, without the end of the last line. Whether the
// stream took all of it is to be asked of the stream.
//
//     mux.json: usable, with 1 warning: 1 gateway, 2 locks
void WriteReport(const ConfigurationReport& report, const std::string& file, const Style& style, std::ostream& output);

// The same as JSON in one line:
//
//     {"File":"mux.json","Usable":true,"Gateways":1,"Locks":2,
//      "Findings":[{"Level":"warning","Where":"Gateways[0].Port","Text":"is 0, which is not a TCP port"}]}
void WriteJsonReport(const ConfigurationReport& report, const std::string& file, std::ostream& output);

}  // namespace Muxctl
