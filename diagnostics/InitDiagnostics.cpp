#include "diagnostics/InitDiagnostics.h"

#include <fcntl.h>
#include <plog/Init.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "diagnostics/Backtrace.h"
#include "diagnostics/ErrorGuard.h"
#include "diagnostics/ErrorText.h"
#include "diagnostics/Log.h"
#include "diagnostics/LogOutputs.h"
#include "diagnostics/ProcessEnd.h"
#include "diagnostics/Tracer.h"

namespace Diagnostics {
namespace {

constexpr std::size_t kLogFileBytes = 10000;
constexpr int kLogFiles = 10;  // the current one and the rolled ones: plog rolls only when it may keep several
constexpr mode_t kLogFileMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;

constexpr std::uint32_t kFirstErrorLimit = 750;
constexpr std::uint32_t kSecondErrorLimit = 5000;

// Returns 0 when the file can be written, and the error number otherwise: plog itself would stay silent.
int TryToOpen(const std::string& logFile) {
    const int descriptor = open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kLogFileMode);
    if (descriptor == -1) {
        return errno;
    }
    close(descriptor);
    return 0;
}

// The appender takes what follows the last point of the whole path for the extension, and then cannot roll a file
// that has none in a directory with a point. A point at the end tells it that there is no extension.
std::string AppenderFileName(const std::string& logFile) {
    const bool hasExtension = logFile.find('.', logFile.find_last_of('/') + 1) != std::string::npos;
    return hasExtension ? logFile : logFile + ".";
}

void InitLog(plog::Severity maximumSeverity, const std::string& logFile, bool colors) {
    auto* const outputs = new LogOutputs(colors);
    plog::init(maximumSeverity, outputs).setMaxSeverity(maximumSeverity);
    const int error = TryToOpen(logFile);
    if (error == 0) {
        outputs->AddFile(AppenderFileName(logFile), kLogFileBytes, kLogFiles);
    } else {
        MUX_LOG(plog::warning) << "Cannot open log file " << logFile << ": " << ErrorText(error)
                               << ". Logging to the console only.";
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
