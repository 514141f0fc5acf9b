// What the program says about a command line that is wrong or asks for help.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/system/support/SideBySide.h"
#include "tests/tools/muxctl/Exchange.h"

namespace Muxctl {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct Misuse {
    Words arguments;
    // All of the error if it ends with a line end, or how it begins.
    std::string error;
};

void ExpectMisuse(const std::vector<Misuse>& rows) {
    SystemTest::ForEachSideBySide(rows, [](const Misuse& row) {
        const Ending ending = RunMuxctl(row.arguments);
        EXPECT_EQ(ending.status, 64);
        EXPECT_EQ(ending.output, "");
        const std::string error = "muxctl: " + row.error;
        EXPECT_EQ(error.back() == '\n' ? ending.error : ending.error.substr(0, error.size()), error);
    });
}

const std::string kDetails = "\nRun 'muxctl --help' for details\n";
const std::string kDetailsOfOpen = "\nRun 'muxctl open --help' for details\n";

TEST(UsageTest, NamesTheWrongWordAndTheNearestRightOne) {
    ExpectMisuse({
        {{"opne"}, "unknown command \"opne\"; did you mean \"open\"?" + kDetails},
        {{"opne", "--gateway", "1", "--lock", "5"}, "unknown command \"opne\"; did you mean \"open\"?" + kDetails},
        {{"unlock"}, "unknown command \"unlock\"" + kDetails},
        {{"help", "wacth"}, "unknown command \"wacth\"; did you mean \"watch\"?\n"},
        {{"whitelist", "clean"},
         "unknown command \"clean\"; did you mean \"clear\"?\nRun 'muxctl whitelist --help' for details\n"},
        {{"open", "--gatway", "1", "--lock", "5"}, "unknown option --gatway; did you mean --gateway?" + kDetailsOfOpen},
        {{"open", "--gateway", "1", "--lokc=5"}, "unknown option --lokc; did you mean --lock?" + kDetailsOfOpen},
        {{"open", "-gateway", "1", "-lock=5"}, "unknown option -gateway; did you mean --gateway?" + kDetailsOfOpen},
        {{"open", "--hots", "mux"}, "unknown option --hots; did you mean --host?" + kDetailsOfOpen},
        {{"health", "stray"}, "unexpected argument \"stray\"\nRun 'muxctl health --help' for details\n"},
        {{"health", "\033[2J"}, "unexpected argument \"?[2J\"\nRun 'muxctl health --help' for details\n"},
    });
}

TEST(UsageTest, NamesWhatIsMissing) {
    ExpectMisuse({
        {{"open"}, "--gateway is required" + kDetailsOfOpen},
        {{"open", "-g", "1"}, "--lock is required" + kDetailsOfOpen},
        {{"whitelist"},
         "whitelist requires a command: add, remove, clear, enable, disable, load, check\n"
         "Run 'muxctl whitelist --help' for details\n"},
        {{"--json"}, "muxctl requires a command: status, open, "},
        {{"locks"}, "locks requires --site or --config\n"},
        {{"open", "Front door"}, "\"Front door\" is the name of a lock, which requires --site or --config\n"},
        {{"open", "-l", "5"}, "--lock: 5 is an ID, which requires --gateway\n"},
        {{"open", "-g", "Hall", "-l", "5"}, "--gateway: must be a decimal integer"},
        {{"open", "-g", "1", "-l", "Hall"},
         "--lock: must be a decimal integer from -2147483648 to 2147483647 (no leading zeros), not Hall; a name "
         "requires --site or --config\n"},
        {{"whitelist", "check", "/dev/null", "-l", "Hall"}, "--lock: must be a decimal integer"},
    });
}

TEST(UsageTest, SaysWhyThereIsNoSuchCommand) {
    ExpectMisuse({
        {{"access-allowed", "--gateway", "1", "--lock", "5"}, "\"access-allowed\" is not supported: the Mux refuses"},
        {{"configure", "mux.json"}, "\"configure\" is not supported: the Mux ignores"},
        {{"whitelist", "get", "--gateway", "1", "--lock", "5"}, "\"get\" is not supported: the Mux refuses"},
        {{"whitelist", "list"}, "\"list\" is not supported: the Mux refuses to read a whitelist"},
        {{"help", "configure"}, "\"configure\" is not supported: the Mux ignores"},
    });
}

TEST(UsageTest, HelpIsACommandToo) {
    for (const Words& command : {Words{}, Words{"open"}, Words{"whitelist"}, Words{"whitelist", "add"}}) {
        const std::string help = RunMuxctl(Words{"help"} + command).output;
        EXPECT_THAT(help, HasSubstr("Usage: muxctl"));
        for (const Words& words : {Words{"help"} + command, command + Words{"--help"}, command + Words{"-h"}}) {
            const Ending ending = RunMuxctl(words);
            EXPECT_EQ(ending.status, 0);
            EXPECT_EQ(ending.output, help);
            EXPECT_EQ(ending.error, "");
        }
    }
}

TEST(UsageTest, VersionIsACommandToo) {
    for (const std::string word : {"--version", "-V", "version"}) {
        const Ending ending = RunMuxctl({word});
        EXPECT_EQ(ending.status, 0);
        EXPECT_EQ(ending.output, "muxctl 2.18.1\n");
        EXPECT_EQ(ending.error, "");
    }
}

TEST(UsageTest, OptionsHaveShortForms) {
    const Exchange exchange = Exchanged({"open-close", "-g", "1", "-l5", "-d", "7", "-j"});
    EXPECT_EQ(BehindTheIdIn(exchange.request), R"("MessageCode":13,"Data":{"gatewayID":1,"lockID":5,"duration":7}})");
    EXPECT_THAT(exchange.ending.output, StartsWith("{"));
    EXPECT_EQ(RunMuxctl({"watch", "-n", "-1"}).status, 64);
}

}  // namespace
}  // namespace Muxctl
