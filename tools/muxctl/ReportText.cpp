#include "tools/muxctl/ReportText.h"

#include "tools/muxctl/Counted.h"
#include "tools/muxctl/JsonLines.h"

namespace Muxctl {
namespace {

const char* NameOf(Finding::Level level) {
    return level == Finding::Level::kError ? "error" : "warning";
}

const char* PriorityOf(Finding::Level level) {
    return level == Finding::Level::kError ? "<3>" : "<4>";
}

std::string FindingText(const Finding& finding, const std::string& file, const Style& style) {
    const Colour colour = finding.level == Finding::Level::kError ? Colour::kRed : Colour::kYellow;
    const std::string where = finding.where.empty() ? "the document" : finding.where;
    return file + ": " + style.Paint(colour, NameOf(finding.level)) + ": " + Printable(where + " " + finding.text);
}

std::string Verdict(const ConfigurationReport& report, const Style& style) {
    if (!report.isUsable) {
        return style.Paint(Colour::kRed, "unusable");
    }
    const bool areAllCreated = report.createdCount == report.gatewayCount;
    const std::string content = (areAllCreated ? "" : std::to_string(report.createdCount) + " of ") +
                                Counted(report.gatewayCount, "gateway") + ", " + Counted(report.lockCount, "lock");
    return report.findings.empty() ? style.Paint(Colour::kGreen, "valid") + ": " + content
                                   : style.Paint(Colour::kYellow, "usable") + ", with " +
                                         Counted(report.findings.size(), "warning") + ": " + content;
}

void WriteFinding(JsonWriter& writer, const Finding& finding) {
    writer.StartObject();
    Write(writer, "Level", NameOf(finding.level));
    Write(writer, "Where", finding.where);
    Write(writer, "Text", finding.text);
    writer.EndObject();
}

}  // namespace

void WriteFindings(const Findings& findings, const std::string& file, const Style& style, Priorities priorities,
                   std::ostream& output) {
    const std::string name = Printable(file);
    for (const Finding& finding : findings) {
        if (priorities == Priorities::kJournal) {
            output << PriorityOf(finding.level);
        }
        output << FindingText(finding, name, style) << '\n';
    }
}

void WriteReport(const ConfigurationReport& report, const std::string& file, const Style& style, std::ostream& output) {
    WriteFindings(report.findings, file, style, Priorities::kNone, output);
    output << Printable(file) << ": " << Verdict(report, style);
}

void WriteJsonReport(const ConfigurationReport& report, const std::string& file, std::ostream& output) {
    rapidjson::OStreamWrapper stream(output);
    JsonWriter writer(stream);
    writer.StartObject();
    Write(writer, "File", file);
    writer.Key("Usable");
    writer.Bool(report.isUsable);
    writer.Key("Gateways");
    writer.Uint64(report.gatewayCount);
    writer.Key("Locks");
    writer.Uint64(report.lockCount);
    writer.Key("Findings");
    writer.StartArray();
    for (const Finding& finding : report.findings) {
        WriteFinding(writer, finding);
    }
    writer.EndArray();
    writer.EndObject();
}

}  // namespace Muxctl
