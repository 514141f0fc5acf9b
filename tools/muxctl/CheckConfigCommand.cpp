#include "tools/muxctl/Commands.h"
#include "tools/muxctl/ConfigurationCheck.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/InputFile.h"
#include "tools/muxctl/ReportText.h"

namespace Muxctl {
namespace {

ConfigurationReport CheckFile(const std::string& path) {
    const std::optional<std::string> text = ReadInputFile(path);
    if (text) {
        return CheckConfiguration(*text);
    }
    ConfigurationReport report;
    report.findings = {{Finding::Level::kError, "", "cannot be read"}};
    return report;
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
    console.PrintLine(options.json ? ReportJson(report, options.file)
                                   : ReportText(report, options.file, console.style));
    return StatusOf(report);
}

}  // namespace Muxctl
