#pragma once

#include <cstddef>
#include <string>

#include "tools/muxctl/Finding.h"

namespace Muxctl {

// What is to be said of a configuration.
struct ConfigurationReport {
    // Whether the Mux can run with it and creates a gateway; when not, at least one finding is an error.
    bool isUsable = false;
    // Only of one that the Mux's parser takes.
    std::size_t gatewayCount = 0;
    std::size_t lockCount = 0;
    Findings findings;
    // How many of the gateways the Mux creates; it leaves out those without address or port.
    std::size_t createdCount = 0;
};

// Looks at the text of a configuration file in every respect: whether the Mux's own parser takes it, its shape and its
// values. Findings are in the order of the file's gateways and locks. Of a value of which the shape has been found
// wrong no warning is given again. A program that calls it links json-throwing, because the parser fails an assertion
// for what ends the Mux.
ConfigurationReport CheckConfiguration(const std::string& text);

// The report on a file that cannot be read, for this reason: "cannot be read: Permission denied; no door works".
ConfigurationReport ReportUnread(const std::string& reason);

}  // namespace Muxctl
