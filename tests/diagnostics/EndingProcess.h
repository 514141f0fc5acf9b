#pragma once

#include <plog/Severity.h>

#include <functional>
#include <optional>
#include <string>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace Testing {

// Runs a body that ends its process, in a child that is set up as the program's main does it: the log, the name for
// dumps ("mux") and the signal handlers. Its gcore is a script that only notes how it was called.
class EndingProcess {
  public:
    EndingProcess();

    // Without a severity the logger and the error guard are not set up.
    ChildResult Run(const std::function<void()>& body, std::optional<plog::Severity> severity = plog::info) const;

    // The arguments of the gcore that was run, with a line break; empty when none was.
    std::string GcoreArguments() const;

    // Replaces gcore by a script of another kind; an empty text leaves none.
    void UseGcore(const std::string& script);

  private:
    TemporaryFolder directory_;
};

}  // namespace Testing
