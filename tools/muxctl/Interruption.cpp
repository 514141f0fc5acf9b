#include "tools/muxctl/Interruption.h"

#include <cstddef>
#include <stdexcept>

namespace Muxctl {
namespace {

// The signal that came, or 0.
volatile std::sig_atomic_t cameSignal = 0;

extern "C" void NoteSignal(int number) {
    cameSignal = number;
}

}  // namespace

Interruption::Interruption() {
    cameSignal = 0;
    struct sigaction action = {};
    action.sa_handler = NoteSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (std::size_t index = 0; index < kSignals.size(); ++index) {
        sigaction(kSignals.at(index), nullptr, &before_.at(index));
        if (before_.at(index).sa_handler != SIG_IGN) {
            sigaction(kSignals.at(index), &action, nullptr);
        }
    }
}

Interruption::~Interruption() {
    Restore();
}

void Interruption::ThrowIfAsked() const {
    if (cameSignal != 0) {
        throw std::runtime_error("interrupted");
    }
}

void Interruption::EndIfAsked() {
    if (cameSignal != 0) {
        Restore();
        static_cast<void>(raise(cameSignal));
    }
}

void Interruption::Restore() {
    for (std::size_t index = 0; index < kSignals.size(); ++index) {
        sigaction(kSignals.at(index), &before_.at(index), nullptr);
    }
}

}  // namespace Muxctl
