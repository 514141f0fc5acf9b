// Commands that send several requests, to a Mux that the test plays and to the real one.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/support/MuxSystem.h"
#include "tests/tools/muxctl/Exchange.h"

namespace Muxctl {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr const char* kRefused = R"({"ErrorCode":0,"Message":"No route"})";

const Words kThreeLocks = {"--gateway", "1", "--lock", "5,6,7"};

TEST(LockListTest, GoesOnAfterANackAndASilenceAndEndsWithTheWorst) {
    FakeMux mux;
    ConnectedProgram program(mux, Words{"status", "--timeout", "2"} + kThreeLocks);
    mux.AnswerNext(1, kRefused);
    mux.ReceiveText();
    mux.AnswerNext(0, "{}");
    EXPECT_EQ(program.WaitForExit(), 2);
    EXPECT_THAT(program.Output(), MatchesRegex("NACK  status, gateway 1, lock 5: No route .*\n"
                                               "ACK   status, gateway 1, lock 7 .*\n"));
    EXPECT_THAT(program.ErrorOutput(), HasSubstr("muxctl: status, gateway 1, lock 6: no answer from 127.0.0.1:"));
}

TEST(LockListTest, NamesTheLastRequestBeforeALostConnection) {
    FakeMux mux;
    ConnectedProgram program(mux, Words{"open"} + kThreeLocks + kMuchTime);
    mux.AnswerNext();
    mux.ReceiveText();
    mux.HangUp();
    EXPECT_EQ(program.WaitForExit(), 2);
    EXPECT_THAT(program.ErrorOutput(),
                StartsWith("muxctl: stopped after open, gateway 1, lock 6; not sent: 1 of 3 requests\n"));
}

// The lines of locks 5, 6 and 7, of which 5 is answered and the Mux ends at 6.
Words LinesOfEnd(const std::function<void(FakeMux& mux)>& end, const Words& time = kMuchTime) {
    FakeMux mux;
    ConnectedProgram program(mux, Words{"open", "--json"} + kThreeLocks + time);
    mux.AnswerNext();
    mux.ReceiveText();
    end(mux);
    EXPECT_EQ(program.WaitForExit(), 2);
    return program.Lines();
}

TEST(LockListTest, SaysInJsonWhyARequestHasNoAnswer) {
    EXPECT_THAT(LinesOfEnd([](FakeMux& mux) { mux.HangUp(); }),
                ElementsAre(HasSubstr(R"("Lock":5,"State":"done","Answer":{)"),
                            EndsWith(R"("Lock":6,"State":"unanswered","Reason":"connection lost"})"),
                            EndsWith(R"("Lock":7,"State":"not sent","Reason":"connection lost"})")));
    EXPECT_THAT(LinesOfEnd([](FakeMux& mux) { mux.Send("HTTP/1.1 400 Bad Request\r\n\r\n"); }),
                Contains(EndsWith(R"("Lock":6,"State":"unanswered","Reason":"not a Mux"})")));
    EXPECT_THAT(LinesOfEnd([](FakeMux& mux) { mux.AnswerNext(); }, {"--timeout", "1"}),
                ElementsAre(HasSubstr(R"("Lock":5,"State":"done")"),
                            EndsWith(R"("Lock":6,"State":"unanswered","Reason":"time-out"})"),
                            HasSubstr(R"("Lock":7,"State":"done")")));
}

// Each lock that a gateway was asked for three at once would go unanswered.
TEST(LockListTest, OpensAllItsLocks) {
    SystemTest::MuxSystem system(SystemTest::WithGateways({{1, {5, 6, 7}}}));
    const Ending ending = RunMuxctl(Words{"open"} + kThreeLocks + ToPort(system.Port()) + kMuchTime);
    EXPECT_EQ(ending.status, 0) << ending.error;
    for (const std::uint32_t lock : {5U, 6U, 7U}) {
        const auto state = system.Gateway().FindLock(lock)->StateAt(Simulator::Lock::TimePoint::clock::now());
        EXPECT_EQ(state, Simulator::Lock::State::kOpen) << lock;
    }
}

class BatchTest : public testing::Test {
  protected:
    Words Batch(const std::string& text, const std::string& more = "--json") const {
        return Words{"batch", folder_.Write("doors.txt", text), more} + kMuchTime;
    }
    std::string File() const { return (folder_.Path() / "doors.txt").string(); }

    Testing::TemporaryFolder folder_;
    FakeMux mux_;
};

const char* const kDoors =
    "# every morning\n"
    "\n"
    "  open --gateway 1 --lock 5,-6  # both\r\n"
    "whitelist add --gateway '2' --lock 9 --card \"04\"A1\n"
    "close --gateway 1 --lock 5";

TEST_F(BatchTest, SendsALineWhenTheLastIsAnswered) {
    ConnectedProgram program(mux_, Batch(kDoors));
    const Words requests = {
        R"("MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})",
        R"("MessageCode":10,"Data":{"gatewayID":1,"lockID":-6}})",
        R"("MessageCode":21,"Data":{"gatewayID":2,"lockID":9,"setupNumber":0,"options":0,"cardData":"04A1",)"
        R"("isUIDCard":false}})",
        R"("MessageCode":11,"Data":{"gatewayID":1,"lockID":5}})",
    };
    for (const std::string& expected : requests) {
        const std::string request = mux_.ReceiveText();
        EXPECT_EQ(BehindTheIdIn(request), expected);
        EXPECT_TRUE(mux_.IsQuiet());
        mux_.Answer(request, 0, kAckData);
    }
    EXPECT_EQ(program.WaitForExit(), 0);
    EXPECT_EQ(program.Lines().size(), requests.size());
}

TEST_F(BatchTest, StopsAtTheFirstNack) {
    ConnectedProgram program(mux_, Batch(kDoors));
    mux_.AnswerNext(1, kRefused);
    EXPECT_EQ(program.WaitForExit(), 1);
    EXPECT_EQ(mux_.ReceiveText(), "(nothing)");
    EXPECT_EQ(program.ErrorOutput(), "muxctl: stopped after " + File() + ":3; not sent: 3 of 4 requests\n");
}

// The line of a request in JSON; `end` follows its state.
std::string JsonOf(const std::string& request, int lock, const std::string& place, const std::string& end) {
    return R"({"Request":")" + request + R"(","Gateway":1,"Lock":)" + std::to_string(lock) +
           (place.empty() ? "" : R"(,"Place":")" + place + "\"") + R"(,"State":)" + end + "}";
}

TEST_F(BatchTest, SaysInJsonWhatCameOfEachRequest) {
    ConnectedProgram program(mux_, Batch("open -g 1 -l 5,6\nclose -g 1 -l 7\nclose -g 1 -l 8\n"));
    const std::string opened = mux_.AnswerNext();
    const std::string refused = mux_.AnswerNext(1, kRefused);
    EXPECT_EQ(program.WaitForExit(), 1);
    const auto answer = [](const std::string& request, const std::string& code, const std::string& data) {
        return R"(,"Answer":{"Timestamp":1700000000,"MessageID":")" + IdIn(request) + R"(","MessageCode":)" + code +
               R"(,"Data":)" + data + "}";
    };
    EXPECT_THAT(program.Lines(),
                ElementsAre(JsonOf("open", 5, File() + ":1", R"("done")" + answer(opened, "0", kAckData)),
                            JsonOf("open", 6, File() + ":1", R"("refused")" + answer(refused, "1", kRefused)),
                            JsonOf("close", 7, File() + ":2", R"("not sent","Reason":"stopped")"),
                            JsonOf("close", 8, File() + ":3", R"("not sent","Reason":"stopped")")));
}

TEST_F(BatchTest, SaysInJsonThatThereIsNoConnection) {
    const Testing::ReservedPort nobody;
    const Ending ending = RunMuxctl(Batch("open -g 1 -l 5") + ToPort(nobody.Number()));
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(ending.output, JsonOf("open", 5, File() + ":1", R"("not sent","Reason":"no connection")") + "\n");
}

TEST_F(BatchTest, GoesOnWhenToldSo) {
    ConnectedProgram program(mux_, Batch(kDoors, "--keep-going"));
    mux_.AnswerNext(1, kRefused);
    for (int count = 0; count < 3; ++count) {
        mux_.AnswerNext();
    }
    EXPECT_EQ(program.WaitForExit(), 1);
    EXPECT_EQ(program.ErrorOutput(), "");
}

TEST_F(BatchTest, NamesEveryWrongLineAndSendsNothing) {
    const std::string text =
        "open --gateway 1 --lock 5\n"
        "opne --gateway 1 --lock 5\n"
        "open --gateway 1\n"
        "open --gateway 1 --lock 05\n"
        "watch\n"
        "open --gateway 1 --lock 5 --port 5556\n"
        "open --gateway 1 --lock \"5\n"
        "open --help\n";
    const Testing::ReservedPort nobody;
    const Ending ending = RunMuxctl(Batch(text) + ToPort(nobody.Number()));
    EXPECT_EQ(ending.status, 64);
    for (int line = 2; line <= 8; ++line) {
        EXPECT_THAT(ending.error, HasSubstr("muxctl: " + File() + ":" + std::to_string(line) + ": ")) << ending.error;
    }
    EXPECT_THAT(ending.error, HasSubstr(":2: unknown command \"opne\"; did you mean \"open\"?\n"));
    EXPECT_THAT(ending.error, HasSubstr(":7: the quote \" has no end\n"));
    EXPECT_THAT(ending.error, HasSubstr("\nmuxctl: nothing was sent\n"));
    EXPECT_EQ(ending.error.find(":1: "), std::string::npos);
}

TEST_F(BatchTest, KnowsTheNamesOfTheSite) {
    const std::string site = folder_.Write("hall.json", R"({"Gateways":[
        {"ID":1,"Description":"Hall","Devices":[{"Name":"Front door","ID":5}]}]})");
    ConnectedProgram program(
        mux_, Batch("open --lock 'Front door'\nclose --gateway Hall --lock 6\n") + Words{"--config", site});
    for (const char* lock : {"5", "6"}) {
        EXPECT_THAT(mux_.AnswerNext(), HasSubstr(R"("gatewayID":1,"lockID":)" + std::string(lock)));
    }
    EXPECT_EQ(program.WaitForExit(), 0);
}

TEST_F(BatchTest, ReadsStandardInput) {
    ProcessSetup setup;
    setup.input = "open --gateway 1 --lock 5 stray\n";
    const Ending ending = RunMuxctl({"batch", "-"}, setup);
    EXPECT_EQ(ending.status, 64);
    EXPECT_THAT(ending.error, HasSubstr("muxctl: standard input:1: "));
    setup.input = "# nothing\n";
    EXPECT_EQ(RunMuxctl({"batch", "-"}, setup).status, 0);
    EXPECT_EQ(RunMuxctl({"batch", File()}).status, 64);
}

}  // namespace
}  // namespace Muxctl
