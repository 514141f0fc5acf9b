// A failed assertion in a process that is set up as the daemon is.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>

#include "json/RapidJson.h"
#include "tests/diagnostics/EndingProcess.h"

namespace Json {
namespace {

using Testing::ChildResult;
using Testing::EndingProcess;

constexpr const char* kCrash = "Received aborting or error signal. Try to save a dump file. Closing the Mux process.\n";

void FailAnAssertion() {
    rapidjson::Document document;
    document.Parse("{}");
    static_cast<void>(document["MessageID"].GetString());
}

// What the assertion says would wait for its reader.
TEST(AbortingAssertion, LeavesADumpABacktraceAndStatus255ThoughNobodyReadsStandardError) {
    const EndingProcess process;
    const ChildResult result = process.Run([] {
        std::array<int, 2> ends = {};
        ASSERT_EQ(pipe2(ends.data(), O_NONBLOCK), 0);
        const std::string filling(4096, 'x');
        while (write(ends[1], filling.data(), filling.size()) > 0) {
        }
        ASSERT_EQ(fcntl(ends[1], F_SETFL, 0), 0);
        ASSERT_EQ(dup2(ends[1], STDERR_FILENO), STDERR_FILENO);
        FailAnAssertion();
    });
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_TRUE(result.HasInOrder({kCrash, "Running gcore", "Obtaining stack trace", "(frames)"})) << result.output;
    EXPECT_NE(process.GcoreArguments(), "");
}

}  // namespace
}  // namespace Json
