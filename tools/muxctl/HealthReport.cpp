#include "tools/muxctl/HealthReport.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <sstream>
#include <utility>

#include "tools/muxctl/Characters.h"
#include "tools/muxctl/JsonLines.h"
#include "tools/muxctl/Seconds.h"

namespace Muxctl {
namespace {

using Level = HealthReport::Level;
using State = GatewayHealth::State;

constexpr std::array kLevelNames = {"OK", "WARNING", "CRITICAL"};
constexpr std::array kLevelColours = {Colour::kGreen, Colour::kYellow, Colour::kRed};
constexpr std::array kStateNames = {"silent", "refused", "unexpected", "well"};
constexpr double kMillisecondsOfASecond = 1000;

const char* NameOf(Level level) {
    return kLevelNames.at(static_cast<std::size_t>(level));
}

const char* NameOf(State state) {
    return kStateNames.at(static_cast<std::size_t>(state));
}

bool HasAnswered(const GatewayHealth& gateway) {
    return gateway.state == State::kWell || gateway.state == State::kUnexpected;
}

double SecondsOf(const GatewayHealth& gateway) {
    return static_cast<double>(gateway.elapsed.count()) / kMillisecondsOfASecond;
}

// A bar would begin the figures.
std::string WithoutBars(std::string text) {
    std::replace(text.begin(), text.end(), '|', '/');
    return Printable(text);
}

std::string TitleOf(const GatewayHealth& gateway) {
    const std::string name = gateway.name.empty() ? "" : " (" + gateway.name + ")";
    return "gateway " + std::to_string(gateway.id) + name;
}

std::string SummaryOf(const std::vector<GatewayHealth>& gateways) {
    if (gateways.size() == 1) {
        return TitleOf(gateways.front()) + ": " + gateways.front().text;
    }
    const auto answering = std::count_if(gateways.begin(), gateways.end(), HasAnswered);
    std::string summary = std::to_string(answering) + " of " + std::to_string(gateways.size()) + " gateways answer";
    for (const GatewayHealth& gateway : gateways) {
        summary += gateway.state == State::kWell ? "" : "; " + TitleOf(gateway) + ": " + gateway.text;
    }
    return summary;
}

Level LevelOf(const std::vector<GatewayHealth>& gateways) {
    if (std::none_of(gateways.begin(), gateways.end(), HasAnswered)) {
        return Level::kCritical;
    }
    const bool areAllWell = std::all_of(gateways.begin(), gateways.end(),
                                        [](const GatewayHealth& gateway) { return gateway.state == State::kWell; });
    return areAllWell ? Level::kOk : Level::kWarning;
}

std::string Figure(const GatewayHealth& gateway) {
    std::ostringstream figure;
    figure << " gateway" << gateway.id << '=';
    if (HasAnswered(gateway)) {
        figure << std::fixed << std::setprecision(3) << SecondsOf(gateway) << 's';
    } else {
        figure << 'U';
    }
    return figure.str();
}

std::string DetailsOf(const GatewayHealth& gateway) {
    const std::string several =
        gateway.requests > 1 ? " to request " + std::to_string(gateway.requests) : std::string();
    return gateway.state == State::kSilent ? gateway.text + " to " + std::to_string(gateway.requests) +
                                                 (gateway.requests == 1 ? " request" : " requests")
                                           : gateway.text + several + " (" + SecondsText(gateway.elapsed) + ")";
}

void WriteTable(const std::vector<GatewayHealth>& gateways, std::ostream& output) {
    std::size_t idWidth = 0;
    std::size_t nameWidth = 0;
    for (const GatewayHealth& gateway : gateways) {
        idWidth = std::max(idWidth, std::to_string(gateway.id).size());
        nameWidth = std::max(nameWidth, CharacterCount(gateway.name));
    }
    for (const GatewayHealth& gateway : gateways) {
        output << "\ngateway " << Padded(std::to_string(gateway.id), idWidth) << "  "
               << Padded(WithoutBars(gateway.name), nameWidth) << (nameWidth == 0 ? "" : "  ")
               << WithoutBars(DetailsOf(gateway));
    }
}

void WriteGateway(JsonWriter& writer, const GatewayHealth& gateway) {
    writer.StartObject();
    writer.Key("ID");
    writer.Int(gateway.id);
    Write(writer, "Name", gateway.name);
    Write(writer, "State", NameOf(gateway.state));
    Write(writer, "Text", gateway.text);
    writer.Key("Requests");
    writer.Int(gateway.requests);
    if (gateway.state != State::kSilent) {
        writer.Key("Seconds");
        writer.Double(SecondsOf(gateway));
    }
    writer.EndObject();
}

}  // namespace

HealthReport SumUp(std::vector<GatewayHealth> gateways) {
    const Level level = LevelOf(gateways);
    const std::string summary = SummaryOf(gateways);
    return {level, summary, std::move(gateways)};
}

HealthReport Critical(const std::string& reason, std::vector<GatewayHealth> gateways) {
    return {Level::kCritical, reason, std::move(gateways)};
}

void WriteHealth(const HealthReport& report, const Style& style, std::ostream& output) {
    const Colour colour = kLevelColours.at(static_cast<std::size_t>(report.level));
    output << style.Paint(colour, NameOf(report.level)) << " - " << WithoutBars(report.summary);
    if (report.gateways.empty()) {
        return;
    }
    output << " |";
    for (const GatewayHealth& gateway : report.gateways) {
        output << Figure(gateway);
    }
    WriteTable(report.gateways, output);
}

void WriteJsonHealth(const HealthReport& report, std::ostream& output) {
    rapidjson::OStreamWrapper stream(output);
    JsonWriter writer(stream);
    writer.StartObject();
    Write(writer, "Status", NameOf(report.level));
    Write(writer, "Summary", report.summary);
    writer.Key("Gateways");
    writer.StartArray();
    for (const GatewayHealth& gateway : report.gateways) {
        WriteGateway(writer, gateway);
    }
    writer.EndArray();
    writer.EndObject();
}

}  // namespace Muxctl
