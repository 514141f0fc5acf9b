// watch, through the comings and goings of a Mux that the test plays.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ReservedPort.h"
#include "tests/support/WaitUntil.h"
#include "tests/tools/muxctl/FakeMux.h"
#include "tests/tools/muxctl/RunningProgram.h"

namespace Muxctl {
namespace {

using testing::HasSubstr;

std::string Event(int number) {
    return R"({"Timestamp":1700000000,"MessageID":"lockEventMessage-1700000000","MessageCode":51,)"
           R"("Data":{"gatewayID":1,"lockID":5,"timestamp":"22:13:20 14-11-2023","RFIDData":"0)" +
           std::to_string(number) + R"("}})";
}

std::vector<std::string> WatchCommand(const FakeMux& mux, const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {"watch", "--port", std::to_string(mux.Port())};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return MuxctlCommand(arguments);
}

ProcessSetup InUtc() {
    ProcessSetup setup;
    setup.variables = {{"TZ", "UTC0"}};
    return setup;
}

std::string Line(int number) {
    return "2023-11-14 22:13:20  card at reader  gateway 1  lock 5  card 0" + std::to_string(number) + "\n";
}

TEST(WatchTest, PrintsEachEventAsItComes) {
    FakeMux mux;
    RunningProgram watch(WatchCommand(mux, {"--count", "2"}), InUtc());
    mux.Accept();
    mux.Send(Event(1));
    EXPECT_TRUE(watch.WaitForOutput(Line(1)));
    mux.Send(Event(2) + Event(3));
    EXPECT_EQ(watch.WaitForExit(), 0);
    EXPECT_EQ(watch.Output(), Line(1) + Line(2));
    EXPECT_EQ(watch.ErrorOutput(), "muxctl: watching 127.0.0.1:" + std::to_string(mux.Port()) + "\n");
}

TEST(WatchTest, PrintsJsonLines) {
    FakeMux mux;
    RunningProgram watch(WatchCommand(mux, {"--count", "2", "--json"}));
    mux.Accept();
    mux.Send(Event(1) + Event(2));
    EXPECT_EQ(watch.WaitForExit(), 0);
    EXPECT_EQ(watch.Output(), Event(1) + "\n" + Event(2) + "\n");
}

std::string Pin(const std::string& data) {
    return R"({"Timestamp":1700000000,"MessageID":"lockEventMessage-1700000000","MessageCode":60,)"
           R"("Data":{"gatewayID":1,"lockID":5,"timestamp":"22:13:20 14-11-2023","RFIDData":")" +
           data + R"("}})";
}

std::string PrintedPin(const std::vector<std::string>& options) {
    FakeMux mux;
    RunningProgram watch(WatchCommand(mux, options), InUtc());
    mux.Accept();
    mux.Send(Pin("31323334"));
    EXPECT_EQ(watch.WaitForExit(), 0);
    return watch.Output();
}

TEST(WatchTest, MasksPinsUnlessTheyAreWanted) {
    const std::string start = "2023-11-14 22:13:20  PIN entered     gateway 1  lock 5  PIN ";
    EXPECT_EQ(PrintedPin({"-n1"}), start + "****\n");
    EXPECT_EQ(PrintedPin({"-n1", "--show-pins"}), start + "1234\n");
    EXPECT_EQ(PrintedPin({"-n1", "--json"}), Pin("****") + "\n");
    EXPECT_EQ(PrintedPin({"-n1", "--json", "--show-pins"}), Pin("31323334") + "\n");
}

TEST(WatchTest, ConnectsAgainWhenTheMuxHasGone) {
    FakeMux mux;
    RunningProgram watch(WatchCommand(mux, {"--count", "2"}), InUtc());
    mux.Accept();
    mux.Send(Event(1));
    mux.HangUp();
    mux.Accept();
    mux.Send(Event(2));
    EXPECT_EQ(watch.WaitForExit(), 0);
    EXPECT_EQ(watch.Output(), Line(1) + Line(2));
    const std::string name = "127.0.0.1:" + std::to_string(mux.Port());
    EXPECT_EQ(watch.ErrorOutput(), "muxctl: watching " + name + "\n" + "muxctl: " + name +
                                       " has closed the connection; trying again every second\n" + "muxctl: watching " +
                                       name + "\n");
}

std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST(WatchTest, SaysEachTimeThatTheMuxHasGone) {
    FakeMux mux;
    RunningProgram watch(WatchCommand(mux, {"--count", "1"}));
    for (int times = 0; times < 2; ++times) {
        mux.Accept();
        mux.HangUp();
    }
    mux.Accept();
    mux.Send(Event(1));
    EXPECT_EQ(watch.WaitForExit(), 0);
    EXPECT_EQ(Count(watch.ErrorOutput(), "; trying again every second\n"), 2U);
}

TEST(WatchTest, DoesNotSayItAtEveryTry) {
    const Testing::ReservedPort port;
    RunningProgram watch(MuxctlCommand({"watch", "--port", std::to_string(port.Number())}));
    EXPECT_TRUE(watch.WaitForErrorOutput("Connection refused; trying again every second\n"));
    // Two tries later.
    const auto hasSaidItAgain = [&] { return Count(watch.ErrorOutput(), "Connection refused") > 1; };
    EXPECT_FALSE(Testing::WaitUntil(hasSaidItAgain, std::chrono::milliseconds(2500)));
}

TEST(WatchTest, EndsWhenItTalksToSomethingElse) {
    FakeMux mux;
    RunningProgram watch(WatchCommand(mux, {}));
    mux.Accept();
    mux.Send("220 mail.example.org\r\n");
    EXPECT_EQ(watch.WaitForExit(), 2);
    EXPECT_THAT(watch.ErrorOutput(), HasSubstr(" is not a Mux: "));
    EXPECT_THAT(watch.ErrorOutput(), HasSubstr("; is this the Mux's port?\n"));
}

}  // namespace
}  // namespace Muxctl
