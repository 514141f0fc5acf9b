// What the options print, and where they make the Mux listen.

#include <gtest/gtest.h>

#include <string>
#include <system_error>
#include <vector>

#include "tests/support/LoopbackSocket.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/WaitUntil.h"
#include "tests/system/support/LogLines.h"
#include "tests/system/support/MuxSystem.h"
#include "tests/system/support/SideBySide.h"

namespace SystemTest {
namespace {

const std::string kUsage =
    "Brenk MUX version 2.18.1\n"
    "Usage: \n"
    "dw-hal-mux-brenk [--port <listen port> --configFile <filePath> --help]\n"
    "** commands listed inside \"[\" and \"]\" are optionals.\n"
    "\n"
    "--version: print out the application name and current version.\n"
    "--ver: print out the application current version number.\n"
    "--help: print this help.\n"
    "--port: specifies a new listen port, different from default 5555.\n"
    "--configFile: loads a JSON config file directly from filesystem. TCP/IP can still be used to change "
    "configuration.\n"
    "--logFile: write the log to a specified logfile\n"
    "--verbose, -v: enable verbose logging\n"
    "--debug, -dbg: enable debug logging\n"
    "--colors: enable colored output for console\n"
    "If nothing specified, MUX will be started with the default listen port (5555) waiting for a valid configuration "
    "to be send via network using TCP connection.\n"
    "\n";
const std::string kVersion = "Brenk MUX version 2.18.1\n";
const std::string kVersionNumber = "2.18.1\n";

struct PrintRow {
    std::vector<std::string> arguments;
    std::string printed;
};

const std::vector<PrintRow> kPrinting = {
    {{"--help"}, kUsage},
    {{"-h"}, kUsage},
    {{"--version"}, kVersion},
    {{"--verbose", "--port", "--port=0", "word", "--unknown", "--ver"}, kVersionNumber},
};

TEST(CommandLine, HelpAndVersionsArePrintedAndNothingIsStarted) {
    ForEachSideBySide(kPrinting, [](const PrintRow& row) {
        MuxProcess mux(row.arguments);
        EXPECT_EQ(mux.WaitForEnd(), "status 0");
        EXPECT_EQ(mux.Output(), row.printed);
        EXPECT_EQ(mux.ErrorOutput(), "");
        EXPECT_TRUE(std::filesystem::is_empty(mux.Folder().Path()));
    });
}

using Ports = std::vector<std::uint16_t>;

void ExpectListensOn(const std::vector<std::string>& arguments, std::uint16_t port) {
    const MuxProcess mux(arguments);
    EXPECT_TRUE(Testing::WaitUntil([&] { return !mux.ListeningPorts().empty(); }, kDeadline));
    EXPECT_EQ(mux.ListeningPorts(), Ports{port}) << testing::PrintToString(arguments);
}

// Whether the Mux can have port 5555 here: another program may hold it.
bool IsDefaultPortFree() {
    try {
        const Testing::ReservedPort port(5555);
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

TEST(DefaultPort, IsListenedOnWithoutConfigurationWhenNothingIsSaid) {
    if (!IsDefaultPortFree()) {
        GTEST_SKIP() << "port 5555 is in use on this machine";
    }
    ExpectListensOn({"--port", "6000"}, 5555);
    ExpectListensOn({}, 5555);
    const MuxProcess mux({});
    ASSERT_TRUE(mux.WaitFor("Mux ended initialization process."));
    ExpectInOrder(mux.Lines(), {{"INFO", "No configuration file specified. Waiting for a valid configuration."},
                                {"INFO", "Mux ended initialization process."}});
}

void ExpectNoListening(const std::string& portText, const std::string& reason) {
    SCOPED_TRACE("--port=" + portText);
    MuxProcess mux({"--port", "--port=" + portText, "--verbose"});
    EXPECT_EQ(mux.WaitForEnd(), "status 0");
    ExpectInOrder(mux.Lines(), {{"ERROR", "Error on bind server socket. " + reason},
                                {"ERROR", "Error detected on socket. Initialization. Shutdown Mux."},
                                {"VERB", "Force shutdown initiated"},
                                {"WARN", "Mux main thread is closing."},
                                {"VERB", "Mux loop cycle ended."}});
}

TEST(CommandLine, APortThatIsNoneEndsTheProcessWithStatus0) {
    const std::vector<std::string> ports = {"0", "65536", "-1", "x"};
    ForEachSideBySide(ports, [](const std::string& port) { ExpectNoListening(port, "Invalid argument"); });
}

TEST(CommandLine, APortThatIsTakenEndsTheProcessWithStatus0) {
    const Testing::LoopbackSocket taker = Testing::LoopbackSocket::Listening();
    ExpectNoListening(std::to_string(taker.Port()), "Address already in use");
}

TEST(CommandLine, AMuxThatCannotListenLeavesItsGatewaysToo) {
    Simulator::GatewaySimulator gateway;
    gateway.Start();
    const Testing::TemporaryFolder folder;
    MuxProcess mux(
        {"--port", "--port=0", "--configFile", folder.Write("mux.json", ConfigurationWithGateway(gateway.Port()))});
    EXPECT_EQ(mux.WaitForEnd(), "status 0");
}

TEST(CommandLine, ThePortGivenTwiceIsListenedOnWhateverStandsBesideIt) {
    const Testing::ReservedPort port;
    const std::string number = std::to_string(port.Number());
    ExpectListensOn({"word", "--unknown", "--port", "--port=" + number, "-x", "--other=1", "another"}, port.Number());
}

}  // namespace
}  // namespace SystemTest
