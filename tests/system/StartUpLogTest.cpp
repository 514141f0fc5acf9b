// The log of a start: its lines in their order, at each severity.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <vector>

#include "tests/system/support/LogLines.h"
#include "tests/system/support/MuxSystem.h"

namespace SystemTest {
namespace {

using Lines = std::vector<ExpectedLine>;

// On the thread of main.
const Lines kProcessThread = {
    {"INFO", "Logging initialized."},
    {"INFO", "Error guard initialized."},
    {"INFO", "Starting Mux version 2.18.1"},
    {"INFO", "Initializing Mux modules..."},
    {"INFO", "Mutex initialized in .ctor"},
    {"INFO", "Mutex initialized in .ctor"},
    {"INFO", "Mutex initialized in .ctor"},
    {"VERB", "Initializing thread mutexes for multithread sync."},
    {"VERB", "Mutexes for multithread initialized."},
    {"INFO", "No configuration file specified. Waiting for a valid configuration."},
    {"INFO", "Main thread spawned."},
    {"VERB", "Registering signals handlers."},
    {"INFO", "Mux ended initialization process."},
    {"VERB", "Entering Mux loop cycle."},
};

// On the thread that then delivers answers.
const Lines kMuxThread = {
    {"DEBUG", "Mux main thread is now running on the main process."},
    {"INFO", "Virtual gateways thread spawned."},
    {"INFO", "Mutex initialized in .ctor"},
    {"DEBUG", "Server socket initialized."},
    {"VERB", "All modules threads spawned. Starting main thread control loop."},
};

const std::vector<std::string> kSeverities = {"FATAL", "ERROR", "WARN", "INFO", "DEBUG", "VERB"};

std::size_t Rank(const std::string& severity) {
    return static_cast<std::size_t>(std::find(kSeverities.begin(), kSeverities.end(), severity) - kSeverities.begin());
}

std::vector<std::string> TextsUpTo(const Lines& lines, const std::string& maximum) {
    std::vector<std::string> texts;
    for (const ExpectedLine& line : lines) {
        if (Rank(line.severity) <= Rank(maximum)) {
            texts.push_back(line.severity + " " + line.text);
        }
    }
    return texts;
}

// What a thread logged of what `wanted` names, in its order.
std::vector<std::string> TextsOfThread(const std::vector<LogLine>& log, const std::string& thread,
                                       const Lines& wanted) {
    std::vector<std::string> texts;
    for (const LogLine& line : log) {
        const auto named =
            std::find_if(wanted.begin(), wanted.end(), [&](const ExpectedLine& one) { return line.Says(one.text); });
        if (line.thread == thread && named != wanted.end()) {
            texts.push_back(line.severity + " " + named->text);
        }
    }
    return texts;
}

std::string ThreadThatSays(const std::vector<LogLine>& log, const std::string& text) {
    const auto found = std::find_if(log.begin(), log.end(), [&](const LogLine& line) { return line.Says(text); });
    return found == log.end() ? "" : found->thread;
}

// Both threads log until they are at work, in no order between them.
void WaitUntilStarted(const MuxProcess& mux, const std::string& maximum) {
    std::vector<std::string> texts = TextsUpTo(kProcessThread, maximum);
    const std::vector<std::string> more = TextsUpTo(kMuxThread, maximum);
    texts.insert(texts.end(), more.begin(), more.end());
    for (const std::string& text : texts) {
        const auto times = static_cast<std::size_t>(std::count(texts.begin(), texts.end(), text));
        EXPECT_TRUE(mux.WaitFor(text.substr(text.find(' ')), times)) << text;
    }
}

void ExpectStart(const std::vector<std::string>& options, const std::string& maximum) {
    const Testing::ReservedPort port;
    MuxProcess mux(ListeningOn(port, options));
    WaitUntilStarted(mux, maximum);
    mux.Signal(SIGQUIT);
    EXPECT_EQ(mux.WaitForEnd(), "status 0");

    const std::vector<LogLine> log = ParseLogLines(mux.Lines());
    EXPECT_EQ(TextsOfThread(log, ThreadThatSays(log, "Logging initialized."), kProcessThread),
              TextsUpTo(kProcessThread, maximum));
    EXPECT_EQ(TextsOfThread(log, ThreadThatSays(log, "Virtual gateways thread spawned."), kMuxThread),
              TextsUpTo(kMuxThread, maximum));
    for (const LogLine& line : log) {
        EXPECT_LE(Rank(line.severity), Rank(maximum)) << line.message;
    }
}

TEST(StartUpLog, IsOfSeverityInfoByDefault) {
    ExpectStart({}, "INFO");
}

TEST(StartUpLog, IsOfSeverityDebugWithEitherOption) {
    ExpectStart({"--debug"}, "DEBUG");
    ExpectStart({"-dbg"}, "DEBUG");
}

TEST(StartUpLog, IsOfSeverityVerboseWithEitherOption) {
    ExpectStart({"--verbose"}, "VERB");
    ExpectStart({"-v"}, "VERB");
}

TEST(StartUpLog, IsVerboseWhenDebugIsAskedForToo) {
    ExpectStart({"--debug", "--verbose"}, "VERB");
    ExpectStart({"-v", "-dbg"}, "VERB");
}

TEST(StartUpLog, HasOneFormForEveryLine) {
    const Testing::ReservedPort port;
    MuxProcess mux(ListeningOn(port, {"--verbose"}));
    WaitUntilStarted(mux, "VERB");
    mux.Signal(SIGQUIT);
    EXPECT_EQ(mux.WaitForEnd(), "status 0");
    for (const std::string& line : mux.Lines()) {
        const auto parsed = ParseLogLine(line);
        ASSERT_TRUE(parsed.has_value()) << line;
        // A signature has its parameters in parentheses.
        EXPECT_NE(parsed->message.find('('), std::string::npos) << line;
        EXPECT_NE(parsed->message.find(") "), std::string::npos) << line;
    }
    EXPECT_EQ(mux.Count("] void Mux::BrenkMux::Start() Main thread spawned."), 1U);
    EXPECT_EQ(mux.Count("] static void* Mux::BrenkMux::mainThreadProc(void*) Mux main thread is now running on the "
                        "main process."),
              1U);
}

TEST(StartUpLog, WithAConfigurationNamesItAndItsGateways) {
    Simulator::GatewaySimulator gateway;
    gateway.Start();
    const Testing::TemporaryFolder folder;
    const std::string file = folder.Write("mux.json", ConfigurationWithGateway(gateway.Port()));
    const Testing::ReservedPort port;
    const MuxProcess mux(ListeningOn(port, {"--configFile", file, "--verbose"}));
    ASSERT_TRUE(mux.WaitFor("changed state from CONNECTED to state READY"));

    ExpectInOrder(mux.Lines(), {{"INFO", "Initializing Mux modules..."},
                                {"INFO", "Reading configuration JSON data from file " + file},
                                {"", "Parsing configuration JSON..."},
                                {"DEBUG", "Parsed configuration data from JSON."},
                                {"INFO", "JSON Configuration parsed. Activating new configuration."},
                                {"VERB", "Destroying all gateways already configured..."},
                                {"INFO", "Start configure gateways."},
                                {"", "Virtual gateways initialized."},
                                {"INFO", "Main thread spawned."}});
    EXPECT_NE(mux.Output().find("Parsed configuration data from JSON.\n"
                                "Current MUX is enabled.\n"
                                "Configuration contains data for 1 gateways.\n"
                                "Gateway[0]\n"
                                "ID: 1\n"
                                "Description: Gateway 1\n"
                                "IpAddress: 127.0.0.1\n"
                                "Port: " +
                                std::to_string(gateway.Port()) +
                                "\n"
                                "The gateway have 1 nodes attached.\n"),
              std::string::npos);
    EXPECT_EQ(mux.Count("Waiting for a valid configuration"), 0U);
}

TEST(StartUpLog, FollowsAGatewayUntilItIsReady) {
    MuxSystem system(WithArguments({"--verbose"}));
    const std::string start = "[BrenkMux::VirtualGatewayStateChangedCallback] Gateway 1 changed state from ";
    ExpectInOrder(system.Mux().Lines(),
                  {{"", "Getaddr ok. Address found."},
                   {"", "Socket created."},
                   {"", "Keepalive set."},
                   {"", "Socket connected."},
                   {"INFO", start + "1 to state CONNECTED"},
                   {"INFO", "VG connected."},
                   {"VERB", "Refreshing sequence couter."},
                   {"VERB", "RequestInfo built."},
                   {"VERB", "RequestInfo pushed to messagesQueue."},
                   {"VERB", "Sequence Counter refresh enqueued."},
                   {"VERB",
                    "Try to connect to gateway with ID 1 over IP 127.0.0.1, and also send a request for a "
                    "SEQUENCE REFRESH."},
                   {"WARN", "Received new sequence number. The current SEQ is 1000"},
                   {"INFO", start + "CONNECTED to state READY"}});
    EXPECT_EQ(system.Mux().Count(" to state "), 2U);
    EXPECT_EQ(system.Mux().Count("Enquequing keep alive Get status."), 1U);
    EXPECT_GE(system.Mux().Count("Received BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR. Current SEQ is "), 1U);
}

}  // namespace
}  // namespace SystemTest
