#pragma once

#include <cstddef>
#include <string>

#include "tools/muxctl/Finding.h"

namespace Muxctl {

// What is to be said of a configuration.
struct ConfigurationReport {
    // Whether the Mux can run with it; when it cannot, at least one finding is an error.
    bool isUsable = false;
    // Only of one that the Mux's parser takes.
    std::size_t gatewayCount = 0;
    std::size_t lockCount = 0;
    Findings findings;
};

// Looks at the text of a configuration file in every respect: whether the Mux's own parser takes it, its shape and its
// values. Of a value of which the shape has been found wrong no warning is given again. Throws std::system_error when
// there can be no child process; call it while the process has no other thread.
ConfigurationReport CheckConfiguration(const std::string& text);

}  // namespace Muxctl
