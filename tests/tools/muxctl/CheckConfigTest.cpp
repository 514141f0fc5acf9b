// check-config as a program; what it finds is tested where it is looked for.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"
#include "tests/system/support/MuxProcess.h"
#include "tests/tools/muxctl/RunningProgram.h"

namespace Muxctl {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::string kGood = R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"127.0.0.1","Port":2101}]})";
const std::string kWithWarning = R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"","Port":2101},)"
                                 R"({"ID":2,"IpAddress":"a","Port":1}]})";
const std::string kWithoutGateway = R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"","Port":2101}]})";
const std::string kEndsTheMux = R"({"Enabled":true,"Gateways":[{"ID":1.5,"IpAddress":"a","Port":1}]})";

constexpr const char* kRefusesAll = "; the Mux would refuse every request, and no door works\n";

class CheckConfigTest : public testing::Test {
  protected:
    Ending Check(const std::string& text) {
        file_ = folder_.Write("mux.json", text);
        return RunMuxctl({"check-config", file_});
    }

    // As a unit does before it starts the Mux on this port.
    static Ending Start(const std::string& file, const std::string& port) {
        ProcessSetup unit;
        unit.variables = {{"MUX_PORT", port}};
        return RunMuxctl({"check-config", "--start", file}, unit);
    }

    static std::unique_ptr<SystemTest::MuxProcess> MuxWith(const std::string& file) {
        const Testing::ReservedPort port;
        return std::make_unique<SystemTest::MuxProcess>(
            std::vector<std::string>{"--port", "--port=" + std::to_string(port.Number()), "--configFile", file});
    }

    Testing::TemporaryFolder folder_;
    std::string file_;
};

TEST_F(CheckConfigTest, EndsWithTwoWhenItIsLargerThan64Mebibytes) {
    const std::string large = folder_.Write("large", "{}");
    fs::resize_file(large, 64UL * 1024 * 1024 + 1);
    const Ending ending = RunMuxctl({"check-config", large});
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(ending.output, large + ": error: the document cannot be read: it is larger than 64 MiB" + kRefusesAll +
                                 large + ": unusable\n");
}

TEST_F(CheckConfigTest, SaysWhyAFileCannotBeRead) {
    const std::string missing = folder_.Path() / "none";
    EXPECT_EQ(RunMuxctl({"check-config", missing}).output,
              missing + ": error: the document cannot be read: No such file or directory" + kRefusesAll + missing +
                  ": unusable\n");
    const std::string path = folder_.Path().string();
    EXPECT_THAT(RunMuxctl({"check-config", path}).output, HasSubstr("the document cannot be read: Is a directory; "));
}

TEST_F(CheckConfigTest, PrintsJsonForScripts) {
    ProcessSetup setup;
    setup.input = kGood;
    EXPECT_EQ(RunMuxctl({"--json", "check-config", "-"}, setup).output,
              R"({"File":"-","Usable":true,"Gateways":1,"Locks":0,"Findings":[]})"
              "\n");
}

TEST_F(CheckConfigTest, TakesSeveralFilesAndEndsAsTheWorst) {
    const std::string good = folder_.Write("a.json", kGood);
    const std::string bad = folder_.Write("b.json", kEndsTheMux);
    const std::string odd = folder_.Write("c.json", kWithWarning);
    const Ending ending = RunMuxctl({"check-config", bad, odd, good});
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.output, AllOf(HasSubstr(bad + ": error: Gateways[0].ID must be a 32-bit integer, "),
                                     HasSubstr(bad + ": unusable\n" + odd + ": warning: Gateways[0].IpAddress is "),
                                     EndsWith(odd + ": usable, with 1 warning: 1 of 2 gateways, 0 locks\n" + good +
                                              ": valid: 1 gateway, 0 locks\n")));
    EXPECT_EQ(ending.error, "");
    EXPECT_EQ(RunMuxctl({"check-config", good, odd}).status, 1);
    EXPECT_EQ(RunMuxctl({"check-config", good, good}).status, 0);
    EXPECT_EQ(Check(kWithoutGateway).status, 2);
}

TEST_F(CheckConfigTest, ChecksAllSitesOfAFolderAndTheirPorts) {
    const std::string hall = folder_.Write("hall.json", kGood);
    folder_.Write("hall.env", "MUX_PORT=6000\n");
    folder_.Write("annex.json", kGood);
    folder_.Write("annex.env", "MUX_PORT=6001\n");
    EXPECT_EQ(RunMuxctl({"check-config", "--all", folder_.Path()}).status, 0);
    folder_.Write("annex.env", "MUX_PORT=6000\n");
    const Ending ending = RunMuxctl({"check-config", "--all", folder_.Path()});
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.output, HasSubstr(hall + ": error: MUX_PORT is 6000, as for the site annex; "));
    EXPECT_EQ(RunMuxctl({"check-config", "--all", folder_.Path() / "none"}).status, 64);
}

TEST_F(CheckConfigTest, EndsForTheUnitWithZeroIfThereIsAGateway) {
    const Ending fine = Start(folder_.Write("good.json", kGood), "6000");
    EXPECT_EQ(fine.status, 0);
    EXPECT_EQ(fine.output, "");
    const std::string odd = folder_.Write("odd.json", kWithoutGateway);
    const Ending refused = Start(odd, "6000");
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.output, AllOf(StartsWith(odd + ": warning: Gateways[0].IpAddress is empty; "),
                                      EndsWith("its doors do not work\n" + odd +
                                               ": error: the document gives no gateway; the Mux is not started\n")));
}

// As for a unit with a wrong name.
TEST_F(CheckConfigTest, SaysOfAMissingFileForTheUnitNothingElse) {
    const std::string missing = folder_.Path() / "none.json";
    const Ending refused = Start(missing, "x");
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.output, missing +
                                  ": error: the document cannot be read: No such file or directory; the Mux is "
                                  "not started\n");
}

// systemd passes the identity of the stream that is connected to the journal.
TEST_F(CheckConfigTest, GivesTheJournalPriorities) {
    const std::string odd = folder_.Write("odd.json", kWithoutGateway);
    const auto run = [&](const std::string& stream) {
        return RunToEnd({"bash", "-c",
                         "cd " + folder_.Path().string() + " && >out && JOURNAL_STREAM=" + stream +
                             " " MUXCTL_PROGRAM " check-config --start odd.json >out; cat out"})
            .output;
    };
    EXPECT_THAT(run("$(stat --format=%d:%i out)"),
                AllOf(StartsWith("<4>odd.json: warning: Gateways[0].IpAddress "), HasSubstr("\n<3>odd.json: error: ")));
    EXPECT_THAT(run("$(stat --format=%d:%i odd.json)"), StartsWith("odd.json: warning: "));
}

TEST_F(CheckConfigTest, RefusesArgumentsThatDoNotFit) {
    const std::string good = folder_.Write("good.json", kGood);
    for (const Words& arguments : {Words{"--start"}, Words{"--start", good, good}, Words{"--all", good, good},
                                   Words{"--all", "--start", good}}) {
        EXPECT_EQ(RunMuxctl(Words{"check-config"} + arguments).status, 64) << testing::PrintToString(arguments);
    }
}

// What it says of ports, and what the Mux does with them.
TEST_F(CheckConfigTest, KnowsWhichPortsEndTheMux) {
    const std::string start = R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"127.0.0.1","Port":)";
    for (const char* const port : {"65536", "70000", "-1"}) {
        EXPECT_EQ(Check(start + port + "}]}").status, 2);
        EXPECT_EQ(MuxWith(file_)->WaitForEnd(), "status 1") << port;
    }
    EXPECT_EQ(Check(start + "0}]}").status, 2);
    EXPECT_TRUE(MuxWith(file_)->WaitFor("Cannot create gateway with ID 1."));
    EXPECT_EQ(Check(R"({"Gateways":[{"ID":1,"IpAddress":"127.0.0.1","Port":70000}]})").status, 2);
    EXPECT_TRUE(MuxWith(file_)->WaitFor("Mux is not enabled."));
}

// What it says of the unit's port, and what the Mux does with it.
class UnitPortTest : public CheckConfigTest {
  protected:
    std::string FindingOf(const std::string& port) const { return Start(good_, port).output; }

    static std::unique_ptr<SystemTest::MuxProcess> MuxOn(const std::string& port) {
        return std::make_unique<SystemTest::MuxProcess>(std::vector<std::string>{"--port", "--port=" + port});
    }

    std::string good_ = folder_.Write("good.json", kGood);
};

TEST_F(UnitPortTest, EndsTheMux) {
    for (const char* const port : {"abc", "0", "70000", "-1", "99999999999"}) {
        EXPECT_THAT(FindingOf(port), HasSubstr("would exit after every start")) << port;
        EXPECT_EQ(MuxOn(port)->WaitForEnd(), "status 0") << port;
    }
}

TEST_F(UnitPortTest, IsAnotherThanItLooks) {
    const Testing::ReservedPort free;
    const std::string number = std::to_string(free.Number());
    for (const std::string& port : {number + "x", "0" + number, "+" + number}) {
        EXPECT_THAT(FindingOf(port), HasSubstr("would listen on port " + number)) << port;
        const auto mux = MuxOn(port);
        EXPECT_TRUE(Testing::WaitUntil([&] { return !mux->ListeningPorts().empty(); }, SystemTest::kDeadline)) << port;
        EXPECT_THAT(mux->ListeningPorts(), ElementsAre(free.Number())) << port;
    }
}

}  // namespace
}  // namespace Muxctl
