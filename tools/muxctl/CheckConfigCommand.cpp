#include "tools/muxctl/Commands.h"
#include "tools/muxctl/ConfigurationCheck.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/InputFile.h"
#include "tools/muxctl/ReportText.h"

namespace Muxctl {
namespace {

ConfigurationReport CheckFile(const std::string& path) {
    std::string text;
    const Diagnostics::TextReading reading = ReadInputFile(path, text);
    return reading == Diagnostics::TextReading::kWhole ? CheckConfiguration(text)
                                                       : ReportUnread(InputFaultText(reading));
}

int StatusOf(const ConfigurationReport& report) {
    if (!report.isUsable) {
        return kUnusableStatus;
    }
    return report.findings.empty() ? kFineStatus : kWarningsStatus;
}

}  // namespace

int RunCheckConfig(const Options& options, const Console& console) {
    const ConfigurationReport report = CheckFile(options.file);
    if (options.json) {
        WriteJsonReport(report, options.file, console.output);
    } else {
        WriteReport(report, options.file, console.style, console.output);
    }
    console.PrintLine("");
    return StatusOf(report);
}

}  // namespace Muxctl
