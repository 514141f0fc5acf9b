// What the client book says of packets, of the client in it, of silence and of what ends the process.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Process.h"
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

TEST(BookPackets, AreAnsweredAsTheBookSays) {
    MuxSystem system;
    TestClient client = system.NewClient();
    for (const Example& packet : ClientBook().OfKind("packet")) {
        const Simulator::Bytes bytes = BytesOf(packet);
        const std::string sent(bytes.begin(), bytes.end());
        EXPECT_EQ(sent, Packet(ClientBook().Find("request", packet.name)->text));
        client.SendRaw(sent);
        EXPECT_EQ(WithoutTimes(client.Receive()), WithoutTimes(ClientBook().Find("answer", packet.name)->text));
    }
}

TEST(BookClient, PrintsWhatTheBookSays) {
    MuxSystem system;
    const Testing::TemporaryFolder folder;
    const std::string standardPort = "\"127.0.0.1\", 5555";
    const std::string& program = ClientBook().Find("client", "")->text;
    ASSERT_NE(program.find(standardPort), std::string::npos);
    const std::string ownPort = "\"127.0.0.1\", " + std::to_string(system.Port());
    const std::string file = folder.Write("client.py", Replace(program, standardPort, ownPort));
    const Testing::Ending ending = Testing::RunToEnd({"python3", file});
    EXPECT_EQ(ending.status, 0) << ending.error;
    EXPECT_EQ(ending.output, ClientBook().Find("output", "client")->text + "\n");
}

TEST(BookSilence, IsWhatTheBookSays) {
    MuxSystem system;
    TestClient client = system.NewClient();
    for (const Example& example : ClientBook().OfKind("silent")) {
        client.Send(example.text);
    }
    ExpectServed(client);
    EXPECT_EQ(system.Gateway().ReceivedFrames().size(), MuxSystem::kFramesAtStart);
}

TEST(BookFatalities, EndTheProcess) {
    ForEachSideBySide(ClientBook().OfKind("fatal"), [](const Example& example) {
        SCOPED_TRACE(example.name);
        const FakeDumpTool tool;
        SystemSetup setup = WithGateways({});
        setup.environment = tool.Environment();
        MuxSystem system(setup);
        const TestClient client = system.NewClient();
        client.Send(example.text);
        EXPECT_EQ(system.Mux().WaitForEnd(), "status 255");
        ExpectCrashLog(system.Mux(), tool);
    });
}

}  // namespace
}  // namespace SystemTest
