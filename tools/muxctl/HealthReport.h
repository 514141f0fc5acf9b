#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tools/muxctl/GatewayHealth.h"
#include "tools/muxctl/Style.h"

namespace Muxctl {

// What a health check found.
struct HealthReport {
    // Their numbers are the exit statuses of monitoring plug-ins.
    enum class Level { kOk = 0, kWarning = 1, kCritical = 2 };

    Level level = Level::kCritical;
    // One line for people.
    std::string summary;
    std::vector<GatewayHealth> gateways;
};

// Sums up: critical if no gateway can be used, a warning if one cannot or if one answers otherwise than it should.
HealthReport SumUp(std::vector<GatewayHealth> gateways);

// Critical, for this reason.
HealthReport Critical(const std::string& reason, std::vector<GatewayHealth> gateways = {});

// Writes a report as monitoring plug-ins do, without the end of the last line: status and summary, behind a bar the
// seconds that each gateway took, then a line for each gateway.
//
//     WARNING - 1 of 2 gateways answer; gateway 2 (Cellar): no answer | gateway1=0.612s gateway2=U
//     gateway 1  Hall    answers (0.6 s)
//     gateway 2  Cellar  no answer to 2 requests
void WriteHealth(const HealthReport& report, const Style& style, std::ostream& output);

// The same as JSON in one line:
//
//     {"Status":"WARNING","Summary":"...","Gateways":[
//      {"ID":1,"Name":"Hall","State":"well","Text":"answers","Requests":1,"Seconds":0.612}, ...]}
//
// States are "well", "unexpected", "refused" and "silent"; a silent gateway has no "Seconds".
void WriteJsonHealth(const HealthReport& report, std::ostream& output);

}  // namespace Muxctl
