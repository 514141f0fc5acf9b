// watch, through the comings and goings of a Mux that the test plays.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ReservedPort.h"
#include "tests/support/WaitUntil.h"
#include "tests/tools/muxctl/Exchange.h"

namespace Muxctl {
namespace {

using testing::HasSubstr;

std::string EventOf(int code, const std::string& data) {
    return R"({"Timestamp":1700000000,"MessageID":"lockEventMessage-1700000000","MessageCode":)" +
           std::to_string(code) +
           R"(,"Data":{"gatewayID":1,"lockID":5,"timestamp":"22:13:20 14-11-2023","RFIDData":")" + data + R"("}})";
}

std::string Event(int number) {
    return EventOf(51, "0" + std::to_string(number));
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
    ConnectedProgram watch(mux, {"watch", "--count", "2"}, InUtc());
    mux.Send(Event(1));
    EXPECT_TRUE(watch.WaitForOutput(Line(1)));
    mux.Send(Event(2) + Event(3));
    EXPECT_EQ(watch.WaitForExit(), 0);
    EXPECT_EQ(watch.Output(), Line(1) + Line(2));
    EXPECT_EQ(watch.ErrorOutput(), "muxctl: watching 127.0.0.1:" + std::to_string(mux.Port()) + "\n");
}

std::string Pin(const std::string& data) {
    return EventOf(60, data);
}

std::string PrintedPin(const Words& options) {
    FakeMux mux;
    ConnectedProgram watch(mux, Words{"watch", "-n1"} + options, InUtc());
    mux.Send(Pin("31323334"));
    EXPECT_EQ(watch.WaitForExit(), 0);
    return watch.Output();
}

TEST(WatchTest, MasksPinsUnlessTheyAreWanted) {
    const std::string start = "2023-11-14 22:13:20  PIN entered     gateway 1  lock 5  PIN ";
    EXPECT_EQ(PrintedPin({}), start + "****\n");
    EXPECT_EQ(PrintedPin({"--show-pins"}), start + "1234\n");
    EXPECT_EQ(PrintedPin({"--json"}), Pin("****") + "\n");
    EXPECT_EQ(PrintedPin({"--json", "--show-pins"}), Pin("31323334") + "\n");
}

TEST(WatchTest, ConnectsAgainEachTimeThatTheMuxHasGone) {
    FakeMux mux;
    ConnectedProgram watch(mux, {"watch", "--count", "3"}, InUtc());
    for (const int number : {1, 2}) {
        mux.Send(Event(number));
        mux.HangUp();
        mux.Accept();
    }
    mux.Send(Event(3));
    EXPECT_EQ(watch.WaitForExit(), 0);
    EXPECT_EQ(watch.Output(), Line(1) + Line(2) + Line(3));
    const std::string name = "127.0.0.1:" + std::to_string(mux.Port());
    const std::string watching = "muxctl: watching " + name + "\n";
    const std::string gone = "muxctl: " + name + " has closed the connection; trying again every second\n";
    EXPECT_EQ(watch.ErrorOutput(), watching + gone + watching + gone + watching);
}

TEST(WatchTest, DoesNotSayItAtEveryTry) {
    const Testing::ReservedPort port;
    RunningProgram watch(MuxctlCommand(Words{"watch"} + ToPort(port.Number())));
    EXPECT_TRUE(watch.WaitForErrorOutput("Connection refused; trying again every second\n"));
    // Two tries later.
    const auto hasSaidItAgain = [&] {
        const std::string error = watch.ErrorOutput();
        return error.find("Connection refused") != error.rfind("Connection refused");
    };
    EXPECT_FALSE(Testing::WaitUntil(hasSaidItAgain, std::chrono::milliseconds(2500)));
}

TEST(WatchTest, EndsWhenItTalksToSomethingElse) {
    FakeMux mux;
    ConnectedProgram watch(mux, {"watch"});
    mux.Send("220 mail.example.org\r\n");
    EXPECT_EQ(watch.WaitForExit(), 2);
    EXPECT_THAT(watch.ErrorOutput(), HasSubstr(" is not a Mux: "));
    EXPECT_THAT(watch.ErrorOutput(), HasSubstr("; is this the Mux's port?\n"));
}

}  // namespace
}  // namespace Muxctl
