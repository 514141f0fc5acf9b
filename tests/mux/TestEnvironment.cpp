// What every test of this program finds in place.

#include <gtest/gtest.h>

#include "tests/mux/LogHook.h"

namespace Testing {
namespace {

class TestEnvironment : public testing::Environment {
  public:
    void SetUp() override { LogHook::Install(); }
};

const testing::Environment* const kEnvironment = testing::AddGlobalTestEnvironment(new TestEnvironment);

}  // namespace
}  // namespace Testing
