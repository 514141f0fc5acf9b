// Every file of the configuration book, given to the program.

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/support/BookExamples.h"
#include "tests/system/support/CrashLog.h"
#include "tests/system/support/Exchange.h"
#include "tests/system/support/FakeDumpTool.h"
#include "tests/system/support/MuxSystem.h"
#include "tests/system/support/SideBySide.h"

namespace SystemTest {
namespace {

using Documents::Example;

constexpr const char* kRequestText = R"({"MessageID":"a","MessageCode":14,"Data":{"gatewayID":1,"lockID":5}})";

TEST(BookConfigurations, WorkWithTheGatewayThatTheyName) {
    Simulator::SimulatorOptions options;
    options.locks = {5};
    for (const Example& example : ConfigurationBook().OfKind("configuration")) {
        SCOPED_TRACE(example.name);
        Simulator::GatewaySimulator gateway(options);
        gateway.Start();
        const std::string here =
            Replace(Replace(example.text, "192.168.1.20", "127.0.0.1"), "2101", std::to_string(gateway.Port()));
        const Testing::TemporaryFolder folder;
        const Testing::ReservedPort port;
        MuxProcess mux(ListeningOn(port, {"--configFile", folder.Write("mux.json", here)}));
        ASSERT_TRUE(mux.WaitFor("to state READY"));
        ASSERT_TRUE(gateway.WaitForFrames(MuxSystem::kFramesAtStart, kDeadline));
        TestClient client(port.Number());
        const std::time_t from = std::time(nullptr);
        client.Send(kRequestText);
        ExpectMessage(client.Receive(), "a", Ack(), from);
    }
}

// Runs on without a gateway.
void ExpectLog(const Example& example) {
    SCOPED_TRACE(example.name);
    const Example* const log = ConfigurationBook().Find("log", example.name);
    ASSERT_NE(log, nullptr);
    const Testing::TemporaryFolder folder;
    const Testing::ReservedPort port;
    MuxProcess mux(ListeningOn(port, {"--configFile", folder.Write("mux.json", example.text)}));
    std::istringstream lines(log->text);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_TRUE(mux.WaitFor(line)) << line;
    }
    TestClient client(port.Number());
    const std::time_t from = std::time(nullptr);
    client.Send(kRequestText);
    ExpectMessage(client.Receive(), "a", Refusal(), from);
    EXPECT_TRUE(mux.IsRunning());
}

TEST(BookConfigurations, ThatAreOddAreLoggedAsTheBookSays) {
    EXPECT_EQ(ConfigurationBook().OfKind("odd-configuration").size(), ConfigurationBook().OfKind("log").size());
    ForEachSideBySide(ConfigurationBook().OfKind("odd-configuration"), ExpectLog);
}

TEST(BookConfigurations, ThatAreFatalEndTheProcessAtItsStart) {
    ForEachSideBySide(ConfigurationBook().OfKind("fatal-configuration"), [](const Example& example) {
        SCOPED_TRACE(example.name);
        const FakeDumpTool tool;
        const Testing::TemporaryFolder folder;
        const Testing::ReservedPort port;
        MuxProcess mux(ListeningOn(port, {"--configFile", folder.Write("mux.json", example.text)}), tool.Environment());
        EXPECT_EQ(mux.WaitForEnd(), "status 255");
        ExpectCrashLog(mux, tool);
        EXPECT_EQ(mux.Count("Main thread spawned."), 0U);
    });
}

}  // namespace
}  // namespace SystemTest
