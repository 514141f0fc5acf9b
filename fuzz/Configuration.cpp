// A configuration file, and the configuration that a client sends.

#include <string>

#include "fuzz/FuzzTarget.h"
#include "fuzz/JsonAssertion.h"
#include "mux/configuration/MuxConfigurationParser.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::DiscardLog();
    Mux::Configuration::MuxConfigurationData configuration;
    try {
        const Mux::Configuration::MuxConfigurationParser parser;
        const bool isJson = parser.ParseText(std::string(reinterpret_cast<const char*>(data), size), configuration);
        FUZZ_CHECK(isJson || configuration.gateways.empty());
    } catch (const Fuzz::JsonAssertion&) {
        // How the daemon ends then is a matter of its tests.
    }
    return 0;
}
