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

std::set<int> SignalsOf(const sigset_t& mask) {
    std::set<int> signals;
    for (int candidate = 1; candidate < SIGRTMIN; ++candidate) {
        if (sigismember(&mask, candidate) == 1) {
            signals.insert(candidate);
        }
    }
    return signals;
}

// One call that installs a handler.
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
        registrations->push_back({signalNumber, action->sa_handler, action->sa_flags, SignalsOf(action->sa_mask)});
    }
    return __real_sigaction(signalNumber, action, before);
}
}

namespace Mux {
namespace {

// In the order in which they are registered.
const std::vector<int> kCatchable = {SIGQUIT, SIGHUP, SIGABRT, SIGSEGV, SIGBUS};

struct sigaction ActionOf(int signalNumber) {
    struct sigaction action = {};
    EXPECT_EQ(sigaction(signalNumber, nullptr, &action), 0);
    return action;
}

// SIGKILL is left out: the kernel takes it out of every mask, but a race checker that stands before the kernel does
// not.
std::set<int> BlockedBy(int signalNumber) {
    std::set<int> blocked = SignalsOf(ActionOf(signalNumber).sa_mask);
    blocked.erase(SIGKILL);
    return blocked;
}

// Registers the handlers for one test and puts back what was there before: crashes of the test program itself are the
// business of the test framework and of the sanitizers.
class SignalRegistration : public testing::Test {
  protected:
    SignalRegistration() {
        for (const int signalNumber : kCatchable) {
            before_.push_back(ActionOf(signalNumber));
        }
        RegisterSignalHandlers();
    }

    ~SignalRegistration() override {
        for (std::size_t index = 0; index < kCatchable.size(); ++index) {
            sigaction(kCatchable.at(index), &before_.at(index), nullptr);
        }
    }

  private:
    std::vector<struct sigaction> before_;
};

TEST_F(SignalRegistration, AsksForSixSignalsInTheirOrderEachBlockingThoseBeforeItAndNoFlags) {
    std::vector<Registration> asked;
    registrations = &asked;
    RegisterSignalHandlers();
    registrations = nullptr;
    const auto handler = &Diagnostics::SignalHandler;
    EXPECT_THAT(asked,
                testing::ElementsAre(Registration{3, handler, 0, {3}}, Registration{1, handler, 0, {3, 1}},
                                     Registration{9, handler, 0, {3, 1, 9}}, Registration{6, handler, 0, {3, 1, 9, 6}},
                                     Registration{11, handler, 0, {3, 1, 9, 6, 11}},
                                     Registration{7, handler, 0, {3, 1, 9, 6, 11, 7}}));
}

TEST_F(SignalRegistration, InstallsTheHandlerWithoutFlags) {
    for (const int signalNumber : kCatchable) {
        const struct sigaction action = ActionOf(signalNumber);
        EXPECT_EQ(action.sa_handler, &Diagnostics::SignalHandler) << signalNumber;
        // The C library adds a flag of its own for the return from the handler.
        EXPECT_EQ(action.sa_flags & (SA_SIGINFO | SA_RESTART | SA_NODEFER | SA_ONSTACK | SA_NOCLDSTOP), 0)
            << signalNumber;
    }
}

TEST_F(SignalRegistration, LetsEachHandlerBlockItsSignalAndThoseRegisteredBeforeIt) {
    EXPECT_EQ(BlockedBy(SIGQUIT), (std::set<int>{SIGQUIT}));
    EXPECT_EQ(BlockedBy(SIGHUP), (std::set<int>{SIGQUIT, SIGHUP}));
    EXPECT_EQ(BlockedBy(SIGABRT), (std::set<int>{SIGQUIT, SIGHUP, SIGABRT}));
    EXPECT_EQ(BlockedBy(SIGSEGV), (std::set<int>{SIGQUIT, SIGHUP, SIGABRT, SIGSEGV}));
    EXPECT_EQ(BlockedBy(SIGBUS), (std::set<int>{SIGQUIT, SIGHUP, SIGABRT, SIGSEGV, SIGBUS}));
}

TEST_F(SignalRegistration, GivesTheSameMasksWhenItIsRepeated) {
    RegisterSignalHandlers();
    EXPECT_EQ(BlockedBy(SIGQUIT), (std::set<int>{SIGQUIT}));
    EXPECT_EQ(BlockedBy(SIGABRT), (std::set<int>{SIGQUIT, SIGHUP, SIGABRT}));
}

TEST_F(SignalRegistration, LeavesKillInterruptAndTerminateWithTheirDefaultAction) {
    // A shell has what it starts in the background ignore the interrupt.
    const auto interrupt = std::signal(SIGINT, SIG_DFL);
    const auto terminate = std::signal(SIGTERM, SIG_DFL);
    RegisterSignalHandlers();
    for (const int signalNumber : {SIGKILL, SIGINT, SIGTERM}) {
        EXPECT_EQ(ActionOf(signalNumber).sa_handler, SIG_DFL) << signalNumber;
    }
    std::signal(SIGINT, interrupt);
    std::signal(SIGTERM, terminate);
}

}  // namespace
}  // namespace Mux
