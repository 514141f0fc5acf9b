#pragma once

#include <gtest/gtest.h>

#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ReservedPort.h"

namespace Testing {

// A Mux, not started, with gateway 1. Nobody listens behind it, so it stays unconnected and what it takes stays in its
// queue.
class MuxWithGateway : public testing::Test {
  protected:
    MuxWithGateway() { mux.ParseConfiguration(ConfigurationText({port.Number()})); }

    const ReservedPort port;
    const CapturedLog log;
    TestMux mux;
};

}  // namespace Testing
