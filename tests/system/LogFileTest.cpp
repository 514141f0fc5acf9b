// Where the log goes.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/WaitUntil.h"
#include "tests/system/support/Exchange.h"
#include "tests/system/support/MuxSystem.h"
#include "tests/system/support/SideBySide.h"

namespace SystemTest {
namespace {

constexpr const char* kDefaultLog = "smartlock_mux.log";

// The lines of a log file without the byte order mark at its start.
std::vector<std::string> LinesInFile(std::string content) {
    static const std::string kByteOrderMark = "\xEF\xBB\xBF";
    EXPECT_EQ(content.rfind(kByteOrderMark, 0), 0U);
    std::istringstream text(content.erase(0, kByteOrderMark.size()));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Ends the process when everything that it logs at its start is in both places.
void EndWhenLogged(MuxProcess& mux, const Testing::TemporaryFolder& folder, const std::string& file) {
    for (const char* const last :
         {"Mux ended initialization process.", "Accept loop thread spawned.", "Receive data loop thread spawned."}) {
        ASSERT_TRUE(mux.WaitFor(last)) << last;
    }
    ASSERT_TRUE(
        Testing::WaitUntil([&] { return LinesInFile(folder.Read(file)).size() == mux.Lines().size(); }, kDeadline));
    mux.Signal(SIGQUIT);
    EXPECT_EQ(mux.WaitForEnd(), "status 0");
}

TEST(LogFile, IsInTheWorkingDirectoryByDefaultAndHasWhatTheConsoleHas) {
    const Testing::ReservedPort port;
    MuxProcess mux(ListeningOn(port));
    EndWhenLogged(mux, mux.Folder(), kDefaultLog);
    EXPECT_EQ(LinesInFile(mux.Folder().Read(kDefaultLog)), mux.Lines());
    EXPECT_GE(mux.Lines().size(), 10U);
}

TEST(LogFile, IsWhereTheOptionSays) {
    const Testing::ReservedPort port;
    const Testing::TemporaryFolder folder;
    const std::string file = (folder.Path() / "own.log").string();
    MuxProcess mux(ListeningOn(port, {"--logFile", file}));
    EndWhenLogged(mux, folder, "own.log");
    EXPECT_EQ(LinesInFile(folder.Read("own.log")), mux.Lines());
    EXPECT_FALSE(std::filesystem::exists(mux.Folder().Path() / kDefaultLog));
}

TEST(LogFile, ThatCannotBeOpenedIsNamedOnTheConsoleAndTheMuxRunsOn) {
    const Testing::ReservedPort port;
    MuxProcess mux(ListeningOn(port, {"--logFile", "/nonexistent/folder/mux.log"}));
    ASSERT_TRUE(mux.WaitFor("/nonexistent/folder/mux.log"));
    EXPECT_EQ(mux.Count("No such file or directory"), 1U);
    TestClient client(port.Number());
    ExpectServed(client);
}

TEST(LogFile, ThatIsALinkStaysOneAndItsTargetRolls) {
    const Testing::TemporaryFolder folder;
    std::filesystem::create_symlink("target.log", folder.Path() / "link.log");
    const Testing::ReservedPort port;
    MuxProcess mux(ListeningOn(port, {"--verbose", "--logFile", (folder.Path() / "link.log").string()}));
    TestClient client(port.Number());
    for (int request = 0; request < 5; ++request) {
        ASSERT_NO_FATAL_FAILURE(ExpectServed(client));
    }
    mux.Signal(SIGQUIT);
    EXPECT_EQ(mux.WaitForEnd(), "status 0");
    EXPECT_EQ(std::filesystem::read_symlink(folder.Path() / "link.log"), "target.log");
    EXPECT_TRUE(std::filesystem::exists(folder.Path() / "target.1.log"));
    EXPECT_NE(folder.Read("target.log").find("Termination signal received."), std::string::npos);
}

// Asks until a line of it has come through the pipe.
void AskUntilItIsRead(std::uint16_t port, int reader) {
    TestClient client(port);
    std::string text;
    EXPECT_TRUE(Testing::WaitUntil(
        [&] {
            ExpectServed(client, "a");
            std::array<char, 65536> bytes = {};
            const ssize_t count = read(reader, bytes.data(), bytes.size());
            text.append(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
            return text.find("Enqueuing NACK mux answer a") != std::string::npos;
        },
        kDeadline));
}

TEST(LogFile, ThatIsAPipeNeedsNoReaderAndIsWrittenToWhenThereIsOne) {
    const Testing::TemporaryFolder folder;
    const std::string pipe = (folder.Path() / "pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR), 0);
    const Testing::ReservedPort port;
    MuxProcess mux(ListeningOn(port, {"--logFile", pipe}));
    ASSERT_TRUE(mux.WaitFor("Mux ended initialization process."));
    for (int reader = 0; reader < 2; ++reader) {
        const int descriptor = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        AskUntilItIsRead(port.Number(), descriptor);
        close(descriptor);
    }
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
    EXPECT_EQ(mux.Count("Cannot open log file"), 0U);
}

void LimitFiles(pid_t process, rlim_t bytes) {
    rlimit limit = {};
    ASSERT_EQ(prlimit(process, RLIMIT_FSIZE, nullptr, &limit), 0);
    limit.rlim_cur = bytes;
    ASSERT_EQ(prlimit(process, RLIMIT_FSIZE, &limit, nullptr), 0);
}

TEST(LogFile, ThatMayNotGrowCostsItsLinesOnlyAndGoesOnWhenItMay) {
    const Testing::ReservedPort port;
    MuxProcess mux(ListeningOn(port));
    ASSERT_TRUE(mux.WaitFor("Mux ended initialization process."));
    LimitFiles(mux.Id(), 100);
    TestClient client(port.Number());
    ExpectServed(client, "a");
    EXPECT_TRUE(mux.WaitFor("Enqueuing NACK mux answer a"));
    EXPECT_EQ(mux.Folder().Read(kDefaultLog).find("Enqueuing NACK mux answer a"), std::string::npos);
    LimitFiles(mux.Id(), RLIM_INFINITY);
    EXPECT_TRUE(Testing::WaitUntil(
        [&] {
            ExpectServed(client, "a");
            return mux.Folder().Read(kDefaultLog).find("Enqueuing NACK mux answer a") != std::string::npos;
        },
        kDeadline));
}

struct TracerRow {
    std::vector<std::string> options;
    std::ptrdiff_t lines;
};

// A packet is looked at when it comes in and again when its text is taken out.
const std::vector<TracerRow> kTracing = {
    {{}, 0}, {{"--debug"}, 2}, {{"-dbg"}, 2}, {{"--verbose"}, 0}, {{"--debug", "--verbose"}, 2},
};

void ExpectTracerLines(const TracerRow& row) {
    SCOPED_TRACE(testing::PrintToString(row.options));
    const std::string line = "[MuxPacket::IsMuxPacket] Data is a MUX packet.";
    const Testing::ReservedPort port;
    MuxProcess mux(ListeningOn(port, row.options));
    TestClient client(port.Number());
    ExpectServed(client);
    mux.Signal(SIGQUIT);
    EXPECT_EQ(mux.WaitForEnd(), "status 0");

    const std::vector<std::string> console = mux.Lines();
    EXPECT_EQ(std::count(console.begin(), console.end(), line), row.lines);
    EXPECT_EQ(mux.Folder().Read(kDefaultLog).find(line), std::string::npos) << "it is no line of the log";
}

TEST(Console, HasTheLinesOfTheTracerWithTheDebugOptionOnly) {
    ForEachSideBySide(kTracing, ExpectTracerLines);
}

constexpr const char* kColorStart = "\x1B[";

std::string ConsoleOf(std::vector<std::string> options, Console console) {
    options.insert(options.end(), {"--logFile", "/nonexistent/folder/mux.log"});
    const Testing::ReservedPort port;
    const MuxProcess mux(ListeningOn(port, options), {}, console);
    EXPECT_TRUE(mux.WaitFor("Mux ended initialization process."));
    return mux.Output();
}

bool HasColors(const std::string& output) {
    return output.find(kColorStart) != std::string::npos;
}

// The warning about the file gives the console something to colour.
TEST(Console, HasColorsWhenAskedForAndOnlyOnATerminal) {
    EXPECT_TRUE(HasColors(ConsoleOf({"--colors"}, Console::kTerminal)));
    EXPECT_TRUE(HasColors(ConsoleOf({"--colors=1"}, Console::kTerminal)));
    EXPECT_FALSE(HasColors(ConsoleOf({}, Console::kTerminal)));
    EXPECT_FALSE(HasColors(ConsoleOf({"--colors"}, Console::kPipe)));
}

}  // namespace
}  // namespace SystemTest
