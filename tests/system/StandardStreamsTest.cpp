// What the Mux does when it is started without standard input, output and error.

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/support/Sanitized.h"
#include "tests/system/support/TestClient.h"

namespace SystemTest {
namespace {

// The Mux with none of the three streams.
class StreamlessMux {
  public:
    explicit StreamlessMux(const Testing::ReservedPort& port) {
        const std::string number = std::to_string(port.Number());
        std::string command = "export TSAN_OPTIONS='" + std::string(kThreadSanitizerOptions) + "'; exec '" +
                              std::string(MUX_PROGRAM) + "' --debug --port --port=" + number + " --logFile '" +
                              (folder_.Path() / "mux.log").string() + "' <&- >&- 2>&-";
        std::string shell = "sh";
        std::string option = "-c";
        char* const words[] = {shell.data(), option.data(), command.data(), nullptr};
        EXPECT_EQ(posix_spawn(&process_, "/bin/sh", nullptr, nullptr, words, environ), 0);
    }
    ~StreamlessMux() {
        kill(process_, SIGQUIT);
        int status = 0;
        EXPECT_EQ(waitpid(process_, &status, 0), process_);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    }
    StreamlessMux(const StreamlessMux&) = delete;
    StreamlessMux& operator=(const StreamlessMux&) = delete;

    // What is open under this number.
    std::string Open(int descriptor) const {
        return std::filesystem::read_symlink("/proc/" + std::to_string(process_) + "/fd/" + std::to_string(descriptor))
            .string();
    }

  private:
    Testing::TemporaryFolder folder_;
    pid_t process_ = -1;
};

TEST(StandardStreams, ThatAreMissingAreNeitherASocketNorTheLog) {
    const Testing::ReservedPort port;
    const StreamlessMux mux(port);
    TestClient client(port.Number());
    client.Send(R"({"MessageID":"a","MessageCode":3})");
    EXPECT_NE(client.Receive().find("Error in request"), std::string::npos);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        EXPECT_EQ(mux.Open(stream), "/dev/null") << stream;
    }
}

}  // namespace
}  // namespace SystemTest
