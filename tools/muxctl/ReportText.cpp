#include "tools/muxctl/ReportText.h"

#include <algorithm>
#include <string_view>

#include "json/RapidJson.h"
#include "tools/muxctl/Counted.h"

// Needs the settings of the former.
#include <rapidjson/memorystream.h>
#include <rapidjson/ostreamwrapper.h>

namespace Muxctl {
namespace {

using JsonWriter = rapidjson::Writer<rapidjson::OStreamWrapper>;

const char* NameOf(Finding::Level level) {
    return level == Finding::Level::kError ? "error" : "warning";
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
    const std::string content = Counted(report.gatewayCount, "gateway") + ", " + Counted(report.lockCount, "lock");
    return report.findings.empty() ? style.Paint(Colour::kGreen, "valid") + ": " + content
                                   : style.Paint(Colour::kYellow, "usable") + ", with " +
                                         Counted(report.findings.size(), "warning") + ": " + content;
}

// How many bytes the character at the front of `text` has, 0 when it is none.
std::size_t CharacterSize(std::string_view text) {
    rapidjson::MemoryStream stream(text.data(), text.size());
    unsigned character = 0;
    return rapidjson::UTF8<>::Decode(stream, &character) ? stream.Tell() : 0;
}

// `text` with a replacement character for every byte that belongs to none: a configuration's keys may have any bytes.
std::string InUtf8(std::string_view text) {
    std::string valid;
    while (!text.empty()) {
        const std::size_t size = CharacterSize(text);
        valid.append(size == 0 ? "\uFFFD" : text.substr(0, size));
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return valid;
}

void Write(JsonWriter& writer, const char* key, const std::string& text) {
    const std::string valid = InUtf8(text);
    writer.Key(key);
    writer.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
}

void WriteFinding(JsonWriter& writer, const Finding& finding) {
    writer.StartObject();
    Write(writer, "Level", NameOf(finding.level));
    Write(writer, "Where", finding.where);
    Write(writer, "Text", finding.text);
    writer.EndObject();
}

}  // namespace

void WriteReport(const ConfigurationReport& report, const std::string& file, const Style& style, std::ostream& output) {
    const std::string name = Printable(file);
    for (const Finding& finding : report.findings) {
        output << FindingText(finding, name, style) << '\n';
    }
    output << name << ": " << Verdict(report, style);
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
