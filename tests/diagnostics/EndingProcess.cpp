#include "tests/diagnostics/EndingProcess.h"

#include <csignal>
#include <cstdlib>

#include "diagnostics/Dump.h"
#include "diagnostics/InitDiagnostics.h"
#include "diagnostics/SignalHandler.h"

namespace Testing {
namespace {

void InstallHandlers() {
    struct sigaction action = {};
    action.sa_handler = Diagnostics::SignalHandler;
    sigemptyset(&action.sa_mask);
    for (const int handled : {SIGQUIT, SIGHUP, SIGABRT, SIGSEGV, SIGBUS}) {
        sigaddset(&action.sa_mask, handled);
        sigaction(handled, &action, nullptr);
    }
}

}  // namespace

EndingProcess::EndingProcess() {
    UseGcore("#!/bin/sh\necho \"$@\" >> gcore-arguments\n");
}

ChildResult EndingProcess::Run(const std::function<void()>& body, std::optional<plog::Severity> severity) const {
    return RunInChild(directory_.Path(), [&] {
        setenv("PATH", directory_.Path().c_str(), 1);
        if (severity) {
            Diagnostics::InitDiagnostics(*severity, "mux.log", false);
        }
        Diagnostics::SetDumpName("/usr/bin/mux");
        InstallHandlers();
        body();
    });
}

std::string EndingProcess::GcoreArguments() const {
    return directory_.Read("gcore-arguments");
}

void EndingProcess::UseGcore(const std::string& script) {
    std::filesystem::remove(directory_.Path() / "gcore");
    if (!script.empty()) {
        directory_.WriteProgram("gcore", script);
    }
}

}  // namespace Testing
