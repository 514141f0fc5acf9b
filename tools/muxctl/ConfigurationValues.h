#pragma once

#include "mux/configuration/MuxConfigurationData.h"
#include "tools/muxctl/Finding.h"

namespace Muxctl {

// Whether the Mux creates this gateway of the configuration. Any thread.
bool IsCreated(const Mux::Configuration::MuxConfigurationData& configuration,
               const Mux::Configuration::GatewayConfiguration& gateway);

// Looks at what the Mux's parser made of a configuration: values that have the right type and make no sense. Errors are
// what ends the Mux when it connects to a gateway: a port or an address that can be none.
Findings CheckValues(const Mux::Configuration::MuxConfigurationData& configuration);

}  // namespace Muxctl
