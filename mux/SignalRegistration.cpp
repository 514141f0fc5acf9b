#include "mux/SignalRegistration.h"

#include <csignal>

#include "diagnostics/SignalHandler.h"

namespace Mux {
namespace {

constexpr int kSignals[] = {SIGQUIT, SIGHUP, SIGKILL, SIGABRT, SIGSEGV, SIGBUS};

}  // namespace

void RegisterSignalHandlers() {
    struct sigaction action = {};
    action.sa_handler = Diagnostics::SignalHandler;
    sigemptyset(&action.sa_mask);
    for (const int signalNumber : kSignals) {
        sigaddset(&action.sa_mask, signalNumber);
        sigaction(signalNumber, &action, nullptr);
    }
}

}  // namespace Mux
