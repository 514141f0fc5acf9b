#pragma once

#include <string>

#include "tests/system/support/MuxProcess.h"

namespace SystemTest {

// A "gcore" that only notes what it was called with, so that a crash is as quick and as visible on a machine with the
// real one as on one without.
class FakeDumpTool {
  public:
    enum class Behaviour { kEndsAtOnce, kWaitsForLeave };

    explicit FakeDumpTool(Behaviour behaviour = Behaviour::kEndsAtOnce);

    // Lets the Mux find it before any other.
    MuxProcess::Environment Environment() const;

    // The command line it was called with, empty when it was not called.
    std::string Call() const { return folder_.Read("call"); }

    // Lets one that waits end.
    void GiveLeave() const { folder_.Write("leave", ""); }

  private:
    Testing::TemporaryFolder folder_;
};

}  // namespace SystemTest
