// This program is linked so that sigaction() comes here first: what is asked of the kernel can then be seen, also what
// it refuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <ostream>
#include <set>
#include <tuple>
#include <vector>

#include "diagnostics/SignalHandler.h"
#include "mux/ProcessSetUp.h"

namespace {

// One call that installs a handler, with the signals that it blocks meanwhile.
struct Registration {
    int signalNumber;
    void (*handler)(int);
    int flags;
    std::set<int> blocked;

    bool operator==(const Registration& other) const {
        return std::tie(signalNumber, handler, flags, blocked) ==
               std::tie(other.signalNumber, other.handler, other.flags, other.blocked);
    }
};

void PrintTo(const Registration& registration, std::ostream* stream) {
    *stream << "signal " << registration.signalNumber << " with flags " << registration.flags << " blocks "
            << testing::PrintToString(registration.blocked);
}

// Null when nobody watches.
std::vector<Registration>* registrations = nullptr;

}  // namespace

extern "C" {
int __real_sigaction(int signalNumber, const struct sigaction* action, struct sigaction* before);
int __wrap_sigaction(int signalNumber, const struct sigaction* action, struct sigaction* before) {
    if (registrations != nullptr && action != nullptr) {
        std::set<int> blocked;
        for (int candidate = 1; candidate < SIGRTMIN; ++candidate) {
            if (sigismember(&action->sa_mask, candidate) == 1) {
                blocked.insert(candidate);
            }
        }
        registrations->push_back({signalNumber, action->sa_handler, action->sa_flags, blocked});
    }
    return __real_sigaction(signalNumber, action, before);
}
}

namespace Mux {
namespace {

// Restores the handlers afterwards: crashes of the test program belong to the test framework and the sanitizers.
class SignalRegistration : public testing::Test {
  protected:
    SignalRegistration() {
        for (const int signalNumber : kSignals) {
            sigaction(signalNumber, nullptr, &before_.emplace_back());
        }
    }

    ~SignalRegistration() override {
        for (std::size_t index = 0; index < before_.size(); ++index) {
            sigaction(kSignals.at(index), &before_.at(index), nullptr);
        }
    }

  private:
    const std::vector<int> kSignals = {SIGQUIT, SIGHUP, SIGABRT, SIGSEGV, SIGBUS};
    std::vector<struct sigaction> before_;
};

TEST_F(SignalRegistration, AsksForSixSignalsInTheirOrderEachBlockingThoseBeforeItAndNoFlagsEachTime) {
    const auto handler = &Diagnostics::SignalHandler;
    for (int time = 0; time < 2; ++time) {
        std::vector<Registration> asked;
        registrations = &asked;
        RegisterSignalHandlers();
        registrations = nullptr;
        EXPECT_THAT(asked, testing::ElementsAre(Registration{3, handler, 0, {3}}, Registration{1, handler, 0, {3, 1}},
                                                Registration{9, handler, 0, {3, 1, 9}},
                                                Registration{6, handler, 0, {3, 1, 9, 6}},
                                                Registration{11, handler, 0, {3, 1, 9, 6, 11}},
                                                Registration{7, handler, 0, {3, 1, 9, 6, 11, 7}}));
    }
}

}  // namespace
}  // namespace Mux
