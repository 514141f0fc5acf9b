// What the Mux does when it is started without standard input, output and error.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/support/Exchange.h"
#include "tests/system/support/Sanitized.h"
#include "tests/system/support/TestClient.h"

namespace SystemTest {
namespace {

std::vector<std::string> CommandWithoutStreams(const std::string& port, const Testing::TemporaryFolder& folder) {
    return {"/bin/sh", "-c",
            "export TSAN_OPTIONS='" + std::string(kThreadSanitizerOptions) + "'; exec '" + std::string(MUX_PROGRAM) +
                "' --debug --port --port=" + port + " --logFile '" + (folder.Path() / "mux.log").string() +
                "' <&- >&- 2>&-"};
}

TEST(StandardStreams, ThatAreMissingAreNeitherASocketNorTheLog) {
    const Testing::ReservedPort port;
    const Testing::TemporaryFolder folder;
    Testing::Process mux(CommandWithoutStreams(std::to_string(port.Number()), folder));
    TestClient client(port.Number());
    ExpectServed(client);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const std::string link = "/proc/" + std::to_string(mux.Id()) + "/fd/" + std::to_string(stream);
        EXPECT_EQ(std::filesystem::read_symlink(link), "/dev/null") << stream;
    }
    mux.Signal(SIGQUIT);
    EXPECT_EQ(mux.WaitForEnd(), "status 0");
}

}  // namespace
}  // namespace SystemTest
