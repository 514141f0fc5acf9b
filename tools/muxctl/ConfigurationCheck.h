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
// values. Of a value of which the shape has been found wrong no warning is given again. A program that calls it links
// json-throwing, because the parser fails an assertion for what ends the Mux.
ConfigurationReport CheckConfiguration(const std::string& text);

}  // namespace Muxctl
