// The operator's handbook says with which status the process ends and what stands last in the log: each way is gone.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/docs/support/Book.h"
#include "tests/support/LoopbackSocket.h"
#include "tests/system/support/FakeDumpTool.h"
#include "tests/system/support/MuxSystem.h"

namespace SystemTest {
namespace {

using Strings = std::vector<std::string>;

// How a process ended, and what it had logged by then.
struct LoggedEnding {
    std::string how;
    std::string log;
};
using Endings = std::vector<LoggedEnding>;

LoggedEnding EndOf(MuxProcess& mux) {
    const std::string how = mux.WaitForEnd();
    return {how, mux.Output()};
}

Endings BySignals(const std::vector<int>& numbers) {
    Endings endings;
    for (const int number : numbers) {
        const FakeDumpTool tool;
        SystemSetup setup = WithArguments({});
        setup.environment = tool.Environment();
        MuxSystem system(setup);
        system.Mux().Signal(number);
        endings.push_back(EndOf(system.Mux()));
    }
    return endings;
}

Endings ByOptions(const Strings& options) {
    Endings endings;
    for (const std::string& option : options) {
        MuxProcess mux({option});
        endings.push_back(EndOf(mux));
    }
    return endings;
}

Endings ByAPortThatIsTaken() {
    const Testing::LoopbackSocket taker = Testing::LoopbackSocket::Listening();
    MuxProcess mux({"--port", "--port=" + std::to_string(taker.Port())});
    return {EndOf(mux)};
}

Endings ByAGatewayThatIsNotThere() {
    const Testing::ReservedPort port;
    const Testing::ReservedPort nobody;
    const Testing::TemporaryFolder folder;
    MuxProcess mux(
        ListeningOn(port, {"--configFile", folder.Write("mux.json", ConfigurationWithGateway(nobody.Number()))}));
    return {EndOf(mux)};
}

Endings ByAConnectionThatIsReset() {
    MuxSystem system(WithArguments({}));
    system.Gateway().ResetConnection();
    return {EndOf(system.Mux())};
}

// The ways by the second cell of their row.
const std::map<std::string, std::function<Endings()>> kWays = {
    {"SIGQUIT", [] { return BySignals({SIGQUIT}); }},
    {"the port could not be opened", ByAPortThatIsTaken},
    {"--help`, `--version`, `--ver",
     [] {
         return ByOptions({"--help", "--version", "--ver"});
     }},
    {"a gateway could not be reached", ByAGatewayThatIsNotThere},
    {"a gateway's connection was reset, or a send on it failed", ByAConnectionThatIsReset},
    {"SIGHUP", [] { return BySignals({SIGHUP}); }},
    {"a crash: SIGABRT, SIGBUS, SIGSEGV",
     [] {
         return BySignals({SIGABRT, SIGBUS, SIGSEGV});
     }},
    {"ended from outside: SIGTERM, SIGINT, SIGKILL",
     [] {
         return BySignals({SIGTERM, SIGINT, SIGKILL});
     }},
};

bool IsNumber(const std::string& cell) {
    return cell.find_first_not_of("0123456789") == std::string::npos;
}

// The parts of a cell that are in code marks; the cell has lost the mark at its beginning.
Strings QuotesIn(const std::string& cell) {
    Strings quotes;
    for (std::size_t begin = 0; cell != "none" && begin < cell.size();) {
        const std::size_t end = std::min(cell.find('`', begin), cell.size());
        quotes.push_back(cell.substr(begin, end - begin));
        begin = std::min(cell.find('`', end + 1), cell.size() - 1) + 1;
    }
    return quotes;
}

TEST(Handbook, HasTheStatusAndTheLastLinesOfEveryEnding) {
    std::size_t rows = 0;
    for (const auto& row : Documents::Book("operations.md").Table("statuses")) {
        ASSERT_EQ(row.size(), 4U);
        SCOPED_TRACE(row.at(1));
        ASSERT_EQ(kWays.count(row.at(1)), 1U);
        ++rows;
        for (const LoggedEnding& ending : kWays.at(row.at(1))()) {
            EXPECT_EQ(ending.how.find(IsNumber(row.at(0)) ? "status " + row.at(0) : "signal "), 0U) << ending.how;
            for (const std::string& line : QuotesIn(row.at(2))) {
                EXPECT_NE(ending.log.find(line), std::string::npos) << line << " is not in:\n" << ending.log;
            }
        }
    }
    EXPECT_EQ(rows, kWays.size());
}

}  // namespace
}  // namespace SystemTest
