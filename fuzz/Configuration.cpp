// A configuration file, and the configuration that a client sends. The check that operators have for such a file must
// tell for each what the parser does with it.

#include <algorithm>
#include <string>

#include "fuzz/FuzzTarget.h"
#include "json/Assertion.h"
#include "json/FaultText.h"
#include "json/Reading.h"
#include "mux/configuration/MuxConfigurationParser.h"
#include "tools/muxctl/ConfigurationShape.h"
#include "tools/muxctl/ConfigurationValues.h"

namespace {

bool SaysThatTheDaemonEnds(const std::string& text) {
    rapidjson::Document document;
    Json::Parse(text, document);
    const Muxctl::Findings findings = Muxctl::CheckShape(document);
    return std::any_of(findings.begin(), findings.end(),
                       [](const Muxctl::Finding& finding) { return finding.level == Muxctl::Finding::Level::kError; });
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::DiscardLog();
    const std::string text(reinterpret_cast<const char*>(data), size);
    Mux::Configuration::MuxConfigurationData configuration;
    try {
        const Mux::Configuration::MuxConfigurationParser parser;
        const bool isJson = parser.ParseText(text, configuration);
        FUZZ_CHECK(isJson || configuration.gateways.empty());
        FUZZ_CHECK(isJson || Json::FaultText(text).find("is not JSON: ") == 0);
        FUZZ_CHECK(!SaysThatTheDaemonEnds(text));
        Muxctl::CheckValues(configuration);
    } catch (const Json::AssertionFailure&) {
        // How the daemon ends then is a matter of its tests.
        FUZZ_CHECK(SaysThatTheDaemonEnds(text));
    }
    return 0;
}
