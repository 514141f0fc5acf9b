#include "tests/system/support/FakeDumpTool.h"

namespace SystemTest {

FakeDumpTool::FakeDumpTool(Behaviour behaviour) {
    const std::string folder = folder_.Path().string();
    std::string script =
        "#!/bin/sh\necho \"gcore $*\" > '" + folder + "/called' && mv '" + folder + "/called' '" + folder + "/call'\n";
    if (behaviour == Behaviour::kWaitsForLeave) {
        script += "while [ ! -e '" + folder + "/leave' ]; do sleep 0.02; done\n";
    }
    folder_.WriteProgram("gcore", script);
}

MuxProcess::Environment FakeDumpTool::Environment() const {
    return {{"PATH", folder_.Path().string() + ":/usr/bin:/bin"}};
}

}  // namespace SystemTest
