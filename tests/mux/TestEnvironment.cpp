// What every test of this program finds in place.

#include <gtest/gtest.h>

#include <csignal>

#include "tests/mux/LogHook.h"

namespace Testing {
namespace {

class TestEnvironment : public testing::Environment {
  public:
    void SetUp() override {
        // As main does it: a peer that has gone is a failed send and not the end of the process.
        std::signal(SIGPIPE, SIG_IGN);
        LogHook::Install();
    }
};

const testing::Environment* const kEnvironment = testing::AddGlobalTestEnvironment(new TestEnvironment);

}  // namespace
}  // namespace Testing
