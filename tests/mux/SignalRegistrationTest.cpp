#include "mux/SignalRegistration.h"

#include <gtest/gtest.h>

#include <csignal>
#include <set>
#include <vector>

#include "diagnostics/SignalHandler.h"

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
    const struct sigaction action = ActionOf(signalNumber);
    std::set<int> blocked;
    for (int candidate = 1; candidate < SIGRTMIN; ++candidate) {
        if (candidate != SIGKILL && sigismember(&action.sa_mask, candidate) == 1) {
            blocked.insert(candidate);
        }
    }
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
    for (const int signalNumber : {SIGKILL, SIGINT, SIGTERM}) {
        EXPECT_EQ(ActionOf(signalNumber).sa_handler, SIG_DFL) << signalNumber;
    }
}

}  // namespace
}  // namespace Mux
