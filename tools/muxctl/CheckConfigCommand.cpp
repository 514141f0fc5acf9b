#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tools/muxctl/Commands.h"
#include "tools/muxctl/ConfigurationCheck.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/InputFile.h"
#include "tools/muxctl/ReportText.h"
#include "tools/muxctl/SitePorts.h"
#include "tools/muxctl/StartCheck.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

namespace fs = std::filesystem;

struct CheckedFile {
    std::string path;
    ConfigurationReport report;
};

ConfigurationReport CheckFile(const std::string& path) {
    std::string text;
    const Diagnostics::TextReading reading = ReadInputFile(path, text);
    return reading == Diagnostics::TextReading::kWhole
               ? CheckConfiguration(text)
               : ReportUnread(InputFaultText(reading) + "; the Mux would refuse every request, and no door works");
}

int StatusOf(const ConfigurationReport& report) {
    if (!report.isUsable) {
        return kUnusableStatus;
    }
    return report.findings.empty() ? kFineStatus : kWarningsStatus;
}

// Every site of the folder, with the faults of its port.
std::vector<CheckedFile> CheckSites(const std::string& folder) {
    SitePlaces places;
    places.folder = folder;
    const std::vector<std::string> sites = NamesOfSites(folder);
    if (sites.empty()) {
        throw UsageError(folder + " has no *.json that can be read");
    }
    const PortComparison ports(sites, places);
    std::vector<CheckedFile> files;
    for (const std::string& site : sites) {
        const std::string path = (fs::path(folder) / (site + ".json")).string();
        files.push_back({path, CheckFile(path)});
        ports.AddFindings(site, files.back().report);
    }
    return files;
}

std::vector<CheckedFile> CheckFiles(const CheckConfigOptions& options) {
    if (options.checksAllSites) {
        return CheckSites(options.paths.empty() ? kSitesFolder : options.paths.front());
    }
    std::vector<CheckedFile> files;
    for (const std::string& path : options.paths) {
        files.push_back({path, CheckFile(path)});
    }
    return files;
}

void Print(const CheckedFile& file, const Options& options, const Console& console) {
    if (options.json) {
        WriteJsonReport(file.report, file.path, console.output);
    } else {
        WriteReport(file.report, file.path, console.style, console.output);
    }
    console.PrintLine("");
}

// In the unit, that of its environment files.
std::optional<std::string> PortVariable() {
    const char* const value = std::getenv(kPortName);  // NOLINT(concurrency-mt-unsafe)
    return value == nullptr ? std::nullopt : std::make_optional<std::string>(value);
}

SitePlaces PlacesAround(const std::string& configuration) {
    const fs::path folder = fs::path(configuration).parent_path();
    SitePlaces places;
    places.folder = folder.empty() ? "." : folder.string();
    return places;
}

// Whether the unit may start the Mux with the file. Of one that cannot be read there is nothing more to be said.
bool MayStartWith(CheckedFile& file) {
    std::string text;
    const Diagnostics::TextReading reading = ReadInputFile(file.path, text);
    if (reading != Diagnostics::TextReading::kWhole) {
        file.report = ReportUnread(InputFaultText(reading) + "; the Mux is not started");
        return false;
    }
    file.report = CheckConfiguration(text);
    return MayStart(file.path, PortVariable(), PlacesAround(file.path), file.report);
}

int RunStartCheck(const std::string& path, const Options& options, const Console& console) {
    CheckedFile file = {path, {}};
    const bool mayStart = MayStartWith(file);
    if (options.json) {
        Print(file, options, console);
    } else {
        const Priorities priorities = console.isJournal ? Priorities::kJournal : Priorities::kNone;
        WriteFindings(file.report.findings, path, console.style, priorities, console.output);
        // A journal that takes nothing must not keep the doors locked.
        console.output.flush();
    }
    return mayStart ? kMayStartStatus : kMustNotStartStatus;
}

}  // namespace

int RunCheckConfig(const Options& options, const Console& console) {
    if (options.checkConfig.checksStart) {
        return RunStartCheck(options.checkConfig.paths.front(), options, console);
    }
    int status = kFineStatus;
    for (const CheckedFile& file : CheckFiles(options.checkConfig)) {
        Print(file, options, console);
        status = std::max(status, StatusOf(file.report));
    }
    return status;
}

}  // namespace Muxctl
