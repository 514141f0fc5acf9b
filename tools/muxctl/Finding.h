#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace Muxctl {

// One fault of a configuration.
struct Finding {
    // A warning is about what the Mux accepts without a word; with an error it cannot use the file at all.
    enum class Level { kWarning, kError };

    Level level;
    // The member, as in "Gateways[0].Port"; empty for the whole document.
    std::string where;
    // Goes on where that begins: "is missing; the Mux uses 0".
    std::string text;
};

using Findings = std::vector<Finding>;

inline bool HasError(const Findings& findings) {
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.level == Finding::Level::kError; });
}

// What happens to the running Mux, said of several faults.
constexpr const char* kNothingWorks = "the Mux would connect to no gateway, and no door works";
constexpr const char* kNoGateway = "gives no gateway";
constexpr const char* kGatewayLeftOut = "the Mux leaves this gateway out, and its doors do not work";

}  // namespace Muxctl
