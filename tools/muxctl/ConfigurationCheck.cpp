#include "tools/muxctl/ConfigurationCheck.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "json/FaultText.h"
#include "json/Reading.h"
#include "mux/configuration/MuxConfigurationParser.h"
#include "tools/muxctl/ConfigurationShape.h"
#include "tools/muxctl/ConfigurationValues.h"

namespace Muxctl {
namespace {

// What follows a sentence of the JSON library.
constexpr const char* kUnreadText = "The Mux would refuse every request, and no door works.";

// What the Mux's own parser does with a configuration.
enum class ParserOutcome { kParsed, kNotJson, kFailsAssertion };

ParserOutcome Parse(const std::string& text, Mux::Configuration::MuxConfigurationData& configuration) {
    try {
        const bool isJson = Mux::Configuration::MuxConfigurationParser().ParseText(text, configuration);
        return isJson ? ParserOutcome::kParsed : ParserOutcome::kNotJson;
    } catch (const Json::AssertionFailure&) {
        return ParserOutcome::kFailsAssertion;
    }
}

Findings ShapeOf(const std::string& text) {
    rapidjson::Document document;
    Json::Parse(text, document);
    return CheckShape(document);
}

// Where a finding belongs: the document comes first, then each gateway, of which its own members come before its locks.
std::pair<std::int64_t, std::int64_t> PositionOf(const Finding& finding) {
    const auto indexBehind = [&](const std::string& list, std::size_t from) -> std::int64_t {
        const std::size_t start = finding.where.find(list, from);
        return start == std::string::npos ? -1 : std::strtoll(finding.where.c_str() + start + list.size(), nullptr, 10);
    };
    const std::int64_t gateway = finding.where.rfind("Gateways[", 0) == 0 ? indexBehind("Gateways[", 0) : -1;
    return {gateway, gateway < 0 ? -1 : indexBehind(".Devices[", 0)};
}

bool IsBefore(const Finding& left, const Finding& right) {
    return PositionOf(left) < PositionOf(right);
}

// Both lists are in the order of the file, and so is their sum.
void AddNew(Findings more, Findings& findings) {
    std::unordered_set<std::string_view> known;
    for (const Finding& finding : findings) {
        known.insert(finding.where);
    }
    const bool isSaidOfAll = known.count("") != 0;
    const auto isSaid = [&](const Finding& finding) {
        return finding.level != Finding::Level::kError && (isSaidOfAll || known.count(finding.where) != 0);
    };
    more.erase(std::remove_if(more.begin(), more.end(), isSaid), more.end());
    const auto middle = static_cast<std::ptrdiff_t>(findings.size());
    findings.insert(findings.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
    std::inplace_merge(findings.begin(), findings.begin() + middle, findings.end(), IsBefore);
}

ConfigurationReport ReportNotJson(const std::string& text) {
    ConfigurationReport report;
    report.findings = {{Finding::Level::kError, "", Json::FaultText(text) + " " + kUnreadText}};
    return report;
}

ConfigurationReport ReportEnd(const std::string& text) {
    ConfigurationReport report;
    report.findings = ShapeOf(text);
    if (!HasError(report.findings)) {
        report.findings.push_back({Finding::Level::kError, "", "aborts the Mux at every start, and no door works"});
    }
    return report;
}

ConfigurationReport ReportParsed(const std::string& text,
                                 const Mux::Configuration::MuxConfigurationData& configuration) {
    ConfigurationReport report;
    report.gatewayCount = configuration.gateways.size();
    for (const auto& gateway : configuration.gateways) {
        report.lockCount += gateway.devices.size();
        report.createdCount += IsCreated(configuration, gateway) ? 1 : 0;
    }
    report.findings = ShapeOf(text);
    AddNew(CheckValues(configuration), report.findings);
    if (report.createdCount == 0 && !HasError(report.findings)) {
        report.findings.push_back({Finding::Level::kError, "", kNoGateway + std::string(", and no door works")});
    }
    report.isUsable = !HasError(report.findings);
    return report;
}

}  // namespace

ConfigurationReport ReportUnread(const std::string& reason) {
    ConfigurationReport report;
    report.findings = {{Finding::Level::kError, "", reason}};
    return report;
}

ConfigurationReport CheckConfiguration(const std::string& text) {
    Mux::Configuration::MuxConfigurationData configuration;
    switch (Parse(text, configuration)) {
        case ParserOutcome::kNotJson:
            return ReportNotJson(text);
        case ParserOutcome::kFailsAssertion:
            return ReportEnd(text);
        case ParserOutcome::kParsed:
            break;
    }
    return ReportParsed(text, configuration);
}

}  // namespace Muxctl
