// The process: reads the command line, sets up diagnostics, starts the one Mux and waits for its end.

#include <csignal>
#include <iostream>
#include <string>

#include "diagnostics/Dump.h"
#include "diagnostics/InitDiagnostics.h"
#include "diagnostics/Log.h"
#include "diagnostics/ProcessEnd.h"
#include "diagnostics/Tracer.h"
#include "mux/BrenkMux.h"
#include "mux/CommandLine.h"
#include "mux/ProcessSetUp.h"
#include "mux/Version.h"

namespace {

constexpr unsigned kSecondsToLeave = 5;

// The one Mux of the process; never destroyed, because its threads run until the process has left.
Mux::BrenkMux* muxInstance = nullptr;

void StopMux() {
    if (muxInstance != nullptr) {
        muxInstance->Stop();
    }
}

}  // namespace

namespace Mux {

static void StartMux(int port, const std::string& configFile) {
    MUX_OPERATION();
    if (muxInstance != nullptr) {
        return;
    }
    muxInstance = new BrenkMux(port);
    if (configFile.empty()) {
        MUX_LOG(plog::info) << "No configuration file specified. Waiting for a valid configuration.";
    } else {
        muxInstance->ParseConfigurationFile(configFile);
    }
    muxInstance->Start();
}

}  // namespace Mux

namespace {

[[noreturn]] void Run(const Mux::CommandLine& options) {
    Diagnostics::Tracer::Enable(options.tracerCategories);
    Diagnostics::SetStopHook(StopMux);
    Diagnostics::InitDiagnostics(options.severity, options.logFile, options.colors);
    MUX_LOG(plog::info) << "Starting Mux version " << Mux::kVersion;
    MUX_LOG(plog::info) << "Initializing Mux modules...";
    // A failed assertion in the configuration file ends like every other crash, so the handlers are there before it
    // is read.
    Mux::RegisterSignalHandlers();
    Mux::StartMux(options.port, options.configFile);
    MUX_LOG(plog::verbose) << "Registering signals handlers.";
    Mux::RegisterSignalHandlers();
    MUX_LOG(plog::info) << "Mux ended initialization process.";
    if (muxInstance != nullptr) {
        MUX_LOG(plog::verbose) << "Entering Mux loop cycle.";
        muxInstance->Wait();
    }
    MUX_LOG(plog::verbose) << "Mux loop cycle ended.";
    Diagnostics::BeginEnding(Diagnostics::ExitStatus(), kSecondsToLeave);
    Diagnostics::FinishEnding(Diagnostics::RuntimeReports::kWrite);
}

}  // namespace

int main(int argc, char** argv) {
    MUX_OPERATION();
    Mux::KeepFootprintSmall();
    Mux::OccupyStandardStreams();
    Mux::AllowAllDescriptors();
    // What cannot be written is a failure of the one that writes, not the end of the process.
    for (const int signalNumber : {SIGPIPE, SIGXFSZ}) {
        static_cast<void>(std::signal(signalNumber, SIG_IGN));
    }
    const Mux::CommandLine options = Mux::ParseCommandLine(argc, argv);
    Diagnostics::SetDumpName(argc > 0 ? argv[0] : "");
    switch (options.action) {
        case Mux::CommandLineAction::kShowUsage:
            Mux::PrintUsage(std::cout);
            return 0;
        case Mux::CommandLineAction::kShowVersion:
            std::cout << Mux::kNameAndVersion << std::endl;
            return 0;
        case Mux::CommandLineAction::kShowVersionNumber:
            std::cout << Mux::kVersion << std::endl;
            return 0;
        case Mux::CommandLineAction::kRun:
            break;
    }
    Run(options);
}
