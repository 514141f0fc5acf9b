#include "diagnostics/InitDiagnostics.h"

#include <plog/Init.h>

#include <chrono>
#include <utility>

#include "diagnostics/Dump.h"
#include "diagnostics/ErrorGuard.h"
#include "diagnostics/Log.h"
#include "diagnostics/LogFile.h"
#include "diagnostics/LogOutputs.h"
#include "diagnostics/ProcessEnd.h"
#include "diagnostics/Text.h"
#include "diagnostics/Tracer.h"

namespace Diagnostics {
namespace {

constexpr std::size_t kLogFileBytes = 10000;
constexpr int kLogFiles = 10;  // the current one and the rolled ones: plog rolls only when it may keep several

// An ending that takes longer is ended by its watchdog, after 5 s.
constexpr std::chrono::seconds kTimeToFlush{3};

constexpr std::uint32_t kFirstErrorLimit = 750;
constexpr std::uint32_t kSecondErrorLimit = 5000;

// Never freed: the process may leave while other threads log.
LogOutputs* outputs = nullptr;

// The appender takes what follows the last point of the whole path for the extension, and then cannot roll a file
// that has none in a directory with a point. A point at the end tells it that there is no extension.
std::string AppenderFileName(const std::string& logFile) {
    const bool hasExtension = logFile.find('.', logFile.find_last_of('/') + 1) != std::string::npos;
    return hasExtension ? logFile : logFile + ".";
}

void InitLog(plog::Severity maximumSeverity, const std::string& logFile, bool colors) {
    outputs = new LogOutputs(colors);
    plog::init(maximumSeverity, outputs).setMaxSeverity(maximumSeverity);
    Tracer::WriteWith([](std::string line) { outputs->WriteToConsole(std::move(line)); });
    SetFlushHook([] { outputs->Flush(kTimeToFlush); });
    LogFile file = OpenLogFile(logFile);
    if (file.error != 0) {
        MUX_LOG(plog::warning) << "Cannot open log file " << logFile << ": " << ErrorText(file.error)
                               << ". Logging to the console only.";
    } else if (file.device) {
        outputs->AddDevice(std::move(*file.device));
    } else {
        outputs->AddFile(AppenderFileName(file.path), kLogFileBytes, kLogFiles);
    }
}

void InitErrorGuard() {
    ErrorGuard::Configuration configuration;
    configuration.firstLimit = kFirstErrorLimit;
    configuration.secondLimit = kSecondErrorLimit;
    configuration.firstHandler = CriticalErrorThresholdReached;
    configuration.secondHandler = ErrorThresholdReached;
    ErrorGuard::Instance().Configure(configuration);
}

}  // namespace

void InitDiagnostics(plog::Severity maximumSeverity, const std::string& logFile, bool colors) {
    MUX_OPERATION();
    InitLog(maximumSeverity, logFile.empty() ? kDefaultLogFile : logFile, colors);
    Tracer::UseColors(colors);
    PrepareBacktrace();
    MUX_LOG(plog::info) << "Logging initialized.";

    InitErrorGuard();
    MUX_LOG(plog::info) << "Error guard initialized.";
}

}  // namespace Diagnostics
